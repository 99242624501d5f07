#include "display/events/event_row_places.h"

#include <algorithm>

namespace kymora {

namespace {

constexpr double rowPitch = 0.035;
constexpr double leastPlace = 0.001;
constexpr double aroundRows = 0.6;  // of a pitch, above the first and below the last
constexpr double greatestBand = 0.6;

CEventChan& RowOf(CDataDoc& doc, int channel) { return doc.eventChannels[static_cast<size_t>(channel)]; }

bool IsPlaced(const CDataDoc& doc, int channel) {
    const double place = doc.eventChannels[static_cast<size_t>(channel)].GetDisplayPosition();
    return place != CDataDoc::DefaultDisplayPosition(channel) && place != CEventChan().GetDisplayPosition();
}

// Of the rows in a band that ends at `end`, from the top.
std::vector<int> RowsAbove(const CDataDoc& doc, const std::vector<int>& channels, double end) {
    std::vector<int> rows;
    for (const int channel : channels)
        if (doc.eventChannels[static_cast<size_t>(channel)].GetDisplayPosition() < end)
            rows.push_back(channel);
    std::stable_sort(rows.begin(), rows.end(), [&doc](int a, int b) {
        return doc.eventChannels[static_cast<size_t>(a)].GetDisplayPosition() <
               doc.eventChannels[static_cast<size_t>(b)].GetDisplayPosition();
    });
    return rows;
}

}  // namespace

std::vector<int> EventRowChannels(const CDataDoc& doc) {
    std::vector<int> rows;
    for (int channel = 0; channel < maxEventChannels; ++channel)
        if (doc.eventChannels[static_cast<size_t>(channel)].channelVisible != 0 &&
            doc.eventChannels[static_cast<size_t>(channel)].GetNumEvents() > 0)
            rows.push_back(channel);
    return rows;
}

std::vector<int> UnplacedOf(const CDataDoc& doc, std::vector<int> rows) {
    std::erase_if(rows, [&doc](int channel) { return IsPlaced(doc, channel); });
    return rows;
}

float RoomBelow(const CDataDoc& doc, const std::vector<int>& rows) {
    double end = 0.0;
    for (const int channel : rows)
        end = std::max(end, doc.eventChannels[static_cast<size_t>(channel)].GetDisplayPosition());
    return static_cast<float>(1.0 - std::min(end + rowPitch * aroundRows, greatestBand));
}

std::vector<int> RowsToPlace(const CDataDoc& doc, float dataArea) {
    const std::vector<int> rows = EventRowChannels(doc);
    std::vector<int> unplaced = UnplacedOf(doc, rows);
    if (dataArea >= 1.0f) return unplaced.size() == rows.size() ? unplaced : std::vector<int>();
    const double band = dataArea > 0.0f ? 1.0 - static_cast<double>(dataArea) : 1.0;
    std::erase_if(unplaced, [&](int channel) {
        return doc.eventChannels[static_cast<size_t>(channel)].GetDisplayPosition() < band;
    });
    return unplaced;
}

float PlaceNewRows(CDataDoc& doc, const std::vector<int>& come, float dataArea) {
    std::vector<int> standing, waiting;
    for (const int channel : EventRowChannels(doc))
        if (std::ranges::find(come, channel) != come.end() && !IsPlaced(doc, channel))
            waiting.push_back(channel);
        else
            standing.push_back(channel);
    double band = 1.0 - static_cast<double>(dataArea);
    for (const int channel : waiting) {
        std::vector<int> rows = RowsAbove(doc, standing, band);
        standing.push_back(channel);
        const double place =
            rows.empty() ? rowPitch * aroundRows : RowOf(doc, rows.back()).GetDisplayPosition() + rowPitch;
        const double needed = place + rowPitch * aroundRows;
        if (needed <= std::max(band, greatestBand)) {
            band = std::max(band, needed);
            RowOf(doc, channel).SetDisplayPosition(place);
            continue;
        }
        band = std::max(band, greatestBand);
        rows.push_back(channel);
        for (size_t i = 0; i < rows.size(); ++i)
            RowOf(doc, rows[i])
                .SetDisplayPosition(band * (static_cast<double>(i) + 0.5) / static_cast<double>(rows.size()));
    }
    return std::min(dataArea, static_cast<float>(1.0 - band));
}

void ScaleRows(CDataDoc& doc, float before, float after) {
    const double band = 1.0 - static_cast<double>(before);
    // Without a band they have no shares of one; in none they would all stand on one line for good.
    if (!(band > 0.0) || !(after < 1.0f)) return;
    const double scale = (1.0 - static_cast<double>(after)) / band;
    for (const int channel : RowsAbove(doc, EventRowChannels(doc), band)) {
        CEventChan& row = RowOf(doc, channel);
        row.SetDisplayPosition(std::max(row.GetDisplayPosition() * scale, leastPlace));
    }
}

}  // namespace kymora
