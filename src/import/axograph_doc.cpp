#include "import/axograph_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>

#include "import/axograph_file.h"
#include "import/even_steps.h"

namespace kymora {

namespace {

constexpr const char* sweepText = "Episode trigger point.";

constexpr int tracesStep = 1 << 20;  // a trace's index in the file: above it a column, below a channel

// The channel of each column but the first. All different where columns are no sweeps.
using Channels = std::vector<int>;

// "Current (A)".
std::pair<std::string, std::string> NameAndUnit(const std::string& title) {
    const size_t open = title.rfind('(');
    if (open == std::string::npos || title.back() != ')') return {title, {}};
    return {TextOfUnknownEncoding(std::string_view(title).substr(0, open)),
            title.substr(open + 1, title.size() - open - 2)};
}

// Seconds. Of an array the mean step; the steps must be alike.
double IntervalOf(const DataFile& file, const AxographColumn& time) {
    if (time.isSeries) return time.scale.factor;
    if (time.points < 2) return 0.0;
    const bool isSingle = time.type == NumberType::f32;
    const auto each = static_cast<size_t>(BytesOf(time.type));
    const auto read = [&](int64_t from, int64_t count) {
        const FileFields fields(file, time.offset + static_cast<uint64_t>(from) * each,
                                static_cast<uint64_t>(count) * each, ByteOrder::big);
        std::vector<double> times(static_cast<size_t>(count));
        for (size_t i = 0; i < times.size(); ++i) {
            const size_t at = i * each;
            const double number = isSingle                       ? fields.F32(at)
                                  : time.type == NumberType::f64 ? fields.F64(at)
                                  : time.type == NumberType::i32 ? fields.I32(at)
                                                                 : fields.I16(at);
            times[i] = number * time.scale.factor + time.scale.offset;
        }
        return times;
    };
    constexpr int64_t timesAtOnce = 1 << 14;
    EvenSteps steps(read(0, 1)[0], read(time.points - 1, 1)[0], time.points, isSingle ? 1.2e-7 : 2.3e-16);
    for (int64_t at = 0; at < time.points; at += timesAtOnce)
        if (!steps.Take(read(at, std::min(timesAtOnce, time.points - at))))
            throw OpenError("The samples of this AxoGraph file do not lie at equal intervals.");
    return steps.Step();
}

bool IsEven(const Channels& channels) {
    std::map<int, int> counts;
    for (const int channel : channels) ++counts[channel];
    return std::all_of(counts.begin(), counts.end(),
                       [&](const auto& entry) { return entry.second == counts.begin()->second; });
}

// Whether a title names nothing, as the maker's do that stand behind the first sweep.
bool IsPlain(const std::string& title) {
    return title.empty() ||
           (title.starts_with("Column") &&
            title.find_first_not_of("0123456789 ", std::strlen("Column")) == std::string::npos);
}

// In digitized files: how many columns a sweep has, where their scales repeat and only the first sweep has
// titles; else 0.
size_t PeriodOfScales(const AxographFile& file) {
    const size_t count = file.columns.size() - 1;
    const auto repeats = [&](size_t period) {
        for (size_t c = period; c < count; ++c) {
            const AxographColumn& column = file.columns[c + 1];
            const AxographColumn& first = file.columns[c % period + 1];
            if (column.scale.factor != first.scale.factor) return false;
            if (!IsPlain(column.title) && column.title != first.title) return false;
        }
        return true;
    };
    for (size_t period = 1; file.version == 2 && 2 * period <= count; ++period)
        if (count % period == 0 && repeats(period)) return period;
    return 0;
}

// Groups that the file tells, if they have as many sweeps each; else titles that repeat, or scales.
Channels ChannelsOf(const AxographFile& file) {
    const size_t count = file.columns.size() - 1;
    if (!file.groups.empty() && IsEven(file.groups)) return file.groups;
    Channels alone, titled, scaled;
    std::map<std::string, int> titles;
    const size_t period = PeriodOfScales(file);
    for (size_t c = 0; c < count; ++c) {
        const std::string& title = file.columns[c + 1].title;
        alone.push_back(static_cast<int>(c));
        titled.push_back(titles.try_emplace(title, static_cast<int>(titles.size())).first->second);
        if (period > 0) scaled.push_back(static_cast<int>(c % period));
    }
    const bool areSweeps = !titles.contains("") && titles.size() < count && IsEven(titled);
    if (areSweeps) return titled;
    return period > 0 ? scaled : alone;
}

bool AreJoined(const std::string* setting, const SideCarTraces& stored) {
    if (!setting) return !stored.areTold || stored.sources.empty() || stored.sources[0].index < tracesStep;
    if (*setting == "joined") return true;
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

size_t CountOf(const Channels& channels) { return std::set<int>(channels.begin(), channels.end()).size(); }

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
    const bool isChoice =
        !joins ? recording_.traces.size() != CountOf(ChannelsOf(file_)) : starts_.size() > 1;
    if (isChoice)
        for (size_t t = 0; t < recording_.traces.size(); ++t)
            recording_.signals.push_back(
                {static_cast<int32_t>(t) + (joins ? 0 : tracesStep), recording_.traces[t].label});
    if (file_.isCutOff)
        recording_.warnings.push_back("This AxoGraph file is cut off: its last sweeps are not whole.");
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
    const std::string* setting = CurrentOpening().Setting("sweeps");
    const AxographFile columns = ReadAxographFile(file);
    sideCar_.Open(*this);
    ResetModel();
    return AxographRecording(file, columns).Make(AreJoined(setting, sideCar_.Traces()));
}

// Sweeps one behind another and sweeps beside each other have nothing in common but the file.
SideCarResult CAxographDoc::ReadOwnSideCar() {
    const auto areApart = [](const std::vector<TraceSignal>& signals) {
        return !signals.empty() && signals[0].index >= tracesStep;
    };
    // Those of earlier versions are of joined sweeps.
    const bool isOther = sideCar_.IsThere() && areApart(traceSignals) != areApart(sideCar_.Traces().sources);
    return sideCar_.Read(*this, !isOther                 ? ""
                                : areApart(traceSignals) ? "the side-car belongs to its joined sweeps"
                                                         : "the side-car belongs to sweeps as traces");
}

Reopening CAxographDoc::ToReopen() const {
    Reopening again = CForeignDoc::ToReopen();
    if (!traceSignals.empty())
        again.settings["sweeps"] = traceSignals[0].index >= tracesStep ? "traces" : "joined";
    return again;
}

}  // namespace kymora
