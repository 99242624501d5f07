// Annotations of an EDF+ file in the event channels, and their list.

#include <fmt/format.h>

#include <algorithm>

#include "import/edf_doc.h"

namespace kymora {

namespace {

constexpr uint64_t listBytes = 16 << 20;  // of the list, and half the file's size
constexpr int firstTalChannel = 1;        // 'b'; 'a' holds the records' starts

int ChannelOf(const EdfEvent& event, bool separate) {
    if (event.signal < 0) return 0;
    return std::min(firstTalChannel + (separate ? event.order : event.signal), maxEventChannels - 1);
}

}  // namespace

void CEDFDoc::ProcessAnnots(EdfEventCollector& collected, AnnotationLayout layout) {
    const bool separate = IsSeparate(collected, layout);
    if (layout == AnnotationLayout::separate && collected.TalCount() > mostSeparateTals)
        Note(fmt::format("{} annotations do not fit into separate channels", collected.TalCount()));
    const size_t shown = collected.Events().size();
    auto channels = SortIntoChannels(collected.Events(), separate);
    LabelChannels(channels, separate);
    for (size_t c = 0; c < channels.size(); ++c) {
        std::vector<CEventKM> events = std::move(channels[c]);
        for (CEventKM& event : events) eventChannels[c].AddEvent(std::move(event));
    }
    if (!collected.IsComplete() && shown != 0)
        Tell(fmt::format("This file holds more annotations than can be shown. The first {} of them "
                         "are events.",
                         shown));
    if (collected.AnyHidden())
        Notify("CEDFDoc::ProcessAnnots: bGotHiddenTAL",
               "Note: there are Annotations which cannot be displayed as events but which are shown in the "
               "Annotations list.");
}

bool CEDFDoc::IsSeparate(const EdfEventCollector& collected, AnnotationLayout layout) const {
    const bool few = collected.TalCount() >= 1 && collected.TalCount() <= mostSeparateTals;
    return layout == AnnotationLayout::separate && few;
}

// The side-car's events take the place of these.
void CEDFDoc::NoteAnnotations(EdfEventCollector& collected) {
    const bool separate = IsSeparate(collected, layoutSetting_.value_or(AnnotationLayout::same));
    const auto channels = SortIntoChannels(collected.Events(), separate);
    Facts().channels.clear();
    for (size_t c = 0; c < channels.size(); ++c)
        if (!channels[c].empty())
            Facts().AddChannel(static_cast<int>(c), LabelOfChannel(c, channels[c].front(), separate),
                               channels[c]);
    Facts().knowsAllEvents = !header_.is24Bit;  // trigger codes were not searched
}

// The events of each channel in ascending order; files need not keep one.
std::vector<std::vector<CEventKM>> CEDFDoc::SortIntoChannels(std::deque<EdfEvent>& events,
                                                             bool separate) const {
    std::vector<std::vector<CEventKM>> channels;
    while (!events.empty()) {
        EdfEvent& event = events.front();
        const auto c = static_cast<size_t>(ChannelOf(event, separate));
        if (channels.size() <= c) channels.resize(c + 1);
        CEventKM made;
        made.onPosition = event.on;
        made.offPosition = event.off;
        made.eventLabel = std::move(event.label);
        channels[c].push_back(std::move(made));
        events.pop_front();
    }
    const auto startsEarlier = [](const CEventKM& a, const CEventKM& b) {
        return a.onPosition < b.onPosition;
    };
    for (auto& channel : channels)
        if (!std::is_sorted(channel.begin(), channel.end(), startsEarlier))
            std::stable_sort(channel.begin(), channel.end(), startsEarlier);
    return channels;
}

void CEDFDoc::LabelChannels(const std::vector<std::vector<CEventKM>>& channels, bool separate) {
    for (size_t c = 0; c < channels.size(); ++c) {
        if (channels[c].empty()) continue;
        if (c == 0) eventChannels[c].channelComment = startMarkComment;
        eventChannels[c].channelLabel = LabelOfChannel(c, channels[c].front(), separate);
    }
}

std::string CEDFDoc::LabelOfChannel(size_t c, const CEventKM& first, bool separate) const {
    if (c == 0) return "trigger";
    if (separate) return std::string(first.eventLabel.View());
    return header_.annotationSignals.size() == 1 ? "Annotations" : fmt::format("Annotations {}", c);
}

const std::string& CEDFDoc::AnnotationList() const {
    if (list_) return *list_;
    list_ = std::make_unique<std::string>();
    if (!sampleFile || header_.annotationSignals.empty()) return *list_;
    const RunList* gaps = chosen_.empty() ? nullptr : &runs_;
    const uint64_t most = listBytes + sampleFile->Length() / 2;
    const auto signalCount = static_cast<int64_t>(header_.annotationSignals.size());
    int64_t headed = 0;  // parts of records, counted through the file, that have their heading
    const auto headUpTo = [&](int64_t part) {
        for (; headed < part && list_->size() <= most; ++headed)
            *list_ += fmt::format("Record: {}, Annotation Signal: {}\r\n", headed / signalCount,
                                  headed % signalCount);
    };
    const auto visit = [&](const EdfTalPlace& place, const EdfTal& tal) {
        if (list_->size() > most) return false;
        headUpTo(place.record * signalCount + place.signal + 1);
        AppendEdfListText(*list_, place, tal, PlaceEdfTal(place, tal, axis_, gaps).fate);
        return true;
    };
    int64_t damaged = 0;
    try {
        ForEachEdfTal(
            *sampleFile, header_, visit, [](int64_t) { return true; }, damaged);
        headUpTo(header_.dataRecords * signalCount);
        if (list_->size() > most) *list_ += "The list is longer than can be shown.\r\n";
    } catch (const FileError& error) {
        Note(error.what());
    }
    return *list_;
}

}  // namespace kymora
