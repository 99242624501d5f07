#include "import/axograph_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "import/axograph_file.h"

namespace kymora {

namespace {

constexpr const char* sweepText = "Episode trigger point.";
constexpr double greatestJitter = 1e-3;  // of an interval, between times that count as equal steps

// The channel of each column but the first. All different where columns are no sweeps.
using Channels = std::vector<int>;

// "Current (A)".
std::pair<std::string, std::string> NameAndUnit(const std::string& title) {
    const size_t open = title.rfind('(');
    if (open == std::string::npos || title.back() != ')') return {title, {}};
    return {TextOfUnknownEncoding(std::string_view(title).substr(0, open)),
            title.substr(open + 1, title.size() - open - 2)};
}

// Seconds. Of an array, whose times are rounded, the mean step; the steps must be alike.
double IntervalOf(const DataFile& file, const AxographColumn& time) {
    if (time.isSeries) return time.scale.factor;
    if (time.points < 2) return 0.0;
    ChannelSource source;
    source.type = time.type;
    source.order = ByteOrder::big;
    source.stride = static_cast<uint32_t>(BytesOf(time.type));
    source.scales = {time.scale};
    source.Add(0, time.points, time.offset);
    StoredChannelReader reader(file, {source});
    std::vector<float> values(static_cast<size_t>(std::min<int64_t>(time.points, 1 << 16)));
    float last = 0.0f, first = 0.0f;
    const auto read = [&](int64_t from, std::span<float> to) {
        const ChannelPiece piece{0, to.data()};
        reader.Read(from, static_cast<int64_t>(to.size()), {&piece, 1});
    };
    read(0, {&first, 1});
    read(time.points - 1, {&last, 1});
    const double step = (double{last} - first) / static_cast<double>(time.points - 1);
    // A time is single precision: late ones are coarse.
    const double tolerance = greatestJitter * step + 2e-7 * std::max(std::fabs(first), std::fabs(last));
    for (int64_t at = 0; at < time.points; at += static_cast<int64_t>(values.size())) {
        const auto part = std::span(values).first(
            static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(values.size()), time.points - at)));
        read(at, part);
        for (size_t i = 0; i < part.size(); ++i)
            if (!(std::fabs(part[i] - (first + step * static_cast<double>(at + static_cast<int64_t>(i)))) <=
                  tolerance * 2.0))
                throw OpenError("The samples of this AxoGraph file do not lie at equal intervals.");
    }
    return step;
}

bool IsEven(const Channels& channels) {
    std::map<int, int> counts;
    for (const int channel : channels) ++counts[channel];
    return std::all_of(counts.begin(), counts.end(),
                       [&](const auto& entry) { return entry.second == counts.begin()->second; });
}

// Groups that the file tells, if they have as many sweeps each; else titles that repeat.
Channels ChannelsOf(const AxographFile& file) {
    const size_t count = file.columns.size() - 1;
    if (!file.groups.empty() && IsEven(file.groups)) return file.groups;
    Channels alone, titled;
    std::map<std::string, int> titles;
    for (size_t c = 0; c < count; ++c) {
        const std::string& title = file.columns[c + 1].title;
        alone.push_back(static_cast<int>(c));
        titled.push_back(titles.try_emplace(title, static_cast<int>(titles.size())).first->second);
    }
    const bool areSweeps = !titles.contains("") && titles.size() < count && IsEven(titled);
    return areSweeps ? titled : alone;
}

bool AreJoined(const std::string* setting) {
    if (!setting || *setting == "joined") return true;
    if (*setting == "traces") return false;
    throw ImportSettingError("sweeps", *setting, "\"joined\" or \"traces\"");
}

class AxographRecording {
  public:
    AxographRecording(const DataFile& data, const AxographFile& file) : data_(data), file_(file) {}
    ForeignRecording Make(bool joins);

  private:
    ForeignTrace& TraceOf(int channel, const AxographColumn& column);
    void AddSweeps(const Channels& channels);
    void Describe(size_t sweeps);

    const DataFile& data_;
    const AxographFile& file_;
    ForeignRecording recording_;
    std::map<int, size_t> traces_;  // of channels
    std::vector<int64_t> starts_;
};

ForeignRecording AxographRecording::Make(bool joins) {
    recording_.interval = IntervalOf(data_, file_.columns[0]) * 1000.0;
    Channels channels = ChannelsOf(file_);
    if (!joins)
        for (size_t c = 0; c < channels.size(); ++c) channels[c] = static_cast<int>(c);
    AddSweeps(channels);
    if (starts_.size() > 1) {
        recording_.episodic = true;
        recording_.events.push_back(EpisodeMarks(sweepText, starts_));
    }
    Describe(starts_.size());
    return std::move(recording_);
}

ForeignTrace& AxographRecording::TraceOf(int channel, const AxographColumn& column) {
    const auto [place, isNew] = traces_.try_emplace(channel, recording_.traces.size());
    if (isNew) {
        if (recording_.traces.size() == maxTraces) throw OpenError(tooManyChannelsText);
        auto [name, unit] = NameAndUnit(column.title);
        ForeignTrace& trace = recording_.traces.emplace_back(ForeignTrace{name, unit, {}});
        trace.source.type = column.type;
        trace.source.order = ByteOrder::big;
        trace.source.stride = static_cast<uint32_t>(BytesOf(column.type));
        trace.source.scales.clear();
    }
    return recording_.traces[place->second];
}

// A sweep is one column of each channel, and as long as the longest of them.
void AxographRecording::AddSweeps(const Channels& channels) {
    std::map<int, size_t> sweepOf;  // the next of each channel
    std::vector<int64_t> lengths;
    for (size_t c = 0; c < channels.size(); ++c) {
        const size_t sweep = sweepOf[channels[c]]++;
        if (sweep == lengths.size()) lengths.push_back(0);
        lengths[sweep] = std::max(lengths[sweep], file_.columns[c + 1].points);
    }
    int64_t end = 0;
    for (const int64_t length : lengths) {
        starts_.push_back(end);
        end += length;
    }
    sweepOf.clear();
    for (size_t c = 0; c < channels.size(); ++c) {
        const AxographColumn& column = file_.columns[c + 1];
        const size_t sweep = sweepOf[channels[c]]++;
        if (column.isSeries)
            throw OpenError("This AxoGraph file holds a computed column, which is no recording.");
        ChannelSource& source = TraceOf(channels[c], column).source;
        if (source.type != column.type)
            throw OpenError(
                "The sweeps of this AxoGraph file are numbers of different types. Open it with the "
                "import setting sweeps=traces.");
        source.scales.push_back(column.scale);
        source.Add(starts_[sweep], column.points, column.offset,
                   static_cast<uint32_t>(source.scales.size() - 1));
    }
}

void AxographRecording::Describe(size_t sweeps) {
    if (!file_.comment.empty()) recording_.comment += file_.comment + "\r\n";
    recording_.comment += file_.notes;
    constexpr std::string_view startWords = "acquisition at ";
    if (const size_t at = file_.notes.find(startWords); at != std::string::npos) {
        int hour = 0, minute = 0, second = 0;
        const std::string time = file_.notes.substr(at + startWords.size(), 8);
        if (std::sscanf(time.c_str(), "%2d:%2d:%2d", &hour, &minute, &second) == 3 &&
            IsTime(hour, minute, second))
            recording_.startClock = ((hour * 60.0 + minute) * 60.0 + second) * 1000.0;
    }
    recording_.details = {{"File type", fmt::format("AxoGraph, version {}", file_.version)},
                          {"Columns", std::to_string(file_.columns.size())},
                          {"Sweeps", std::to_string(sweeps)}};
}

}  // namespace

ForeignRecording CAxographDoc::ReadRecording(const DataFile& file) {
    const bool joins = AreJoined(CurrentOpening().Setting("sweeps"));
    return AxographRecording(file, ReadAxographFile(file)).Make(joins);
}

}  // namespace kymora
