#include "import/nwb_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "import/digital_lines.h"
#include "import/hdf5_data.h"

namespace kymora {

namespace {

constexpr int nwbDepth = 4;
constexpr size_t mostSeries = 2000, mostNwbChannels = 65536, mostUnitChannels = 900;
constexpr uint64_t mostTexts = 200000, mostNwbCommentBytes = 10000;
constexpr double rateOfEventsOnly = 10000.0;  // Hz, where the file states no resolution
constexpr int64_t manyTimes = 4000000;

bool IsNear(double a, double b) { return std::fabs(a - b) <= 1e-6 * std::fabs(b); }

struct UnitName {
    const char* stored;
    const char* shown;
};
constexpr UnitName unitNames[] = {{"volts", "V"},   {"volt", "V"},    {"amperes", "A"}, {"ampere", "A"},
                                  {"amps", "A"},    {"seconds", "s"}, {"meters", "m"},  {"metres", "m"},
                                  {"siemens", "S"}, {"hertz", "Hz"}};

std::string ShownUnit(const std::string& stored) {
    for (const UnitName& name : unitNames)
        if (stored == name.stored) return name.shown;
    return stored == "n.a." || stored == "unknown" || stored == "na" ? std::string() : stored;
}

// Volts and amperes are shown with the prefix that the stored numbers have, and else with that of the kind.
void ChoosePrefix(const std::string& kind, std::string& unit, std::vector<double>& factors, double& offset) {
    constexpr struct {
        const char* name;
        double step;
    } prefixes[] = {{"", 1.0}, {"m", 1e-3}, {"u", 1e-6}, {"n", 1e-9}, {"p", 1e-12}};
    if ((unit != "V" && unit != "A") || factors.empty()) return;
    double step = kind == "ElectricalSeries" ? 1e-6 : kind == "CurrentClampSeries" ? 1e-3 : 1.0;
    if (unit == "A" && kind.ends_with("ClampSeries")) step = 1e-12;
    for (const auto& prefix : prefixes) {
        const bool isAll = std::all_of(factors.begin(), factors.end(),
                                       [&](double factor) { return IsNear(factor, prefix.step); });
        if (isAll) step = prefix.step;
    }
    for (const auto& prefix : prefixes)
        if (prefix.step == step) unit = prefix.name + unit;
    for (double& factor : factors) factor = IsNear(factor, step) ? 1.0 : factor / step;
    offset /= step;
}

// "2026-11-09T03:25:07.25+01:00", ms since midnight.
std::optional<double> ClockOf(const std::string& time) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0;
    double second = 0.0;
    const int found = std::sscanf(time.c_str(), "%4d-%2d-%2d%*1[T ]%2d:%2d:%lf", &year, &month, &day, &hour,
                                  &minute, &second);
    if (found != 6 || !(second >= 0.0 && second < 61.0) || !IsTime(hour, minute, 0)) return {};
    return (hour * 3600.0 + minute * 60.0 + second) * 1000.0;
}

std::string LastOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

struct CNwbDoc::EventPlace {
    const NwbTimes& times;
    int64_t length, from;  // samples; the length is that of the whole series
    size_t outside = 0;    // events
    size_t room = mostForeignEvents;
    bool isFull = false;

    void Add(std::vector<CEventKM>& events, double on, double off, const std::string& label,
             float value = 0.0f) {
        const double first = times.PositionOf(on), last = times.PositionOf(off);
        if (!(first >= -0.5) || !(first < static_cast<double>(length) - 0.5)) {
            ++outside;
            return;
        }
        if (room == 0) {
            isFull = true;
            return;
        }
        const int64_t start = std::llround(std::max(first, 0.0));
        const int64_t end = last > first ? std::llround(std::min(last, static_cast<double>(length))) : start;
        const size_t before = events.size();
        AddPlaced(events, start, std::max(end, start + 1), from, label);
        if (events.size() == before) return;
        events.back().eventValue = value;
        --room;
    }
};

// --- what the file holds ---

std::string CNwbDoc::AttributeText(const Hdf5Object& object, const char* name) {
    const auto found = object.attributes.find(name);
    if (found == object.attributes.end()) return {};
    const auto texts = hdf5_->Texts(found->second, 1);
    return texts.empty() ? std::string() : texts[0];
}

double CNwbDoc::AttributeNumber(const Hdf5Object& object, const char* name, double otherwise) {
    const auto found = object.attributes.find(name);
    if (found == object.attributes.end()) return otherwise;
    const auto numbers = hdf5_->Numbers(found->second, 1);
    return numbers.empty() || !std::isfinite(numbers[0]) ? otherwise : numbers[0];
}

std::vector<double> CNwbDoc::NumbersAt(const Hdf5Object& from, const char* path, uint64_t most) {
    const auto found = hdf5_->Find(from, path);
    return found && found->array ? hdf5_->Numbers(*found->array, most) : std::vector<double>();
}

// Several texts are joined.
std::string CNwbDoc::TextAt(const Hdf5Object& from, const char* path) {
    const auto found = hdf5_->Find(from, path);
    if (!found || !found->array) return {};
    std::string text;
    for (const std::string& one : hdf5_->Texts(*found->array, 20)) text += (text.empty() ? "" : ", ") + one;
    return text.substr(0, mostNwbCommentBytes);
}

std::vector<DataStream> CNwbDoc::ReadStreams(const DataFile& file) {
    series_.clear();
    marks_.clear();
    knownTimes_.clear();
    taken_.clear();
    passedOver_.clear();
    hdf5_ = std::make_unique<Hdf5File>(file);
    const std::string version = AttributeText(hdf5_->Root(), "nwb_version");
    if (version.empty() && hdf5_->Root().members.contains("nwb_version"))
        throw OpenError(
            "This NWB file is of version 1, which is laid out in another way. Tools of NWB convert it.");
    if (version.empty()) throw OpenError("This HDF5 file is no NWB file: it does not state \"nwb_version\".");
    for (const char* place : {"acquisition", "processing", "stimulus/presentation", "analysis"})
        if (const auto group = hdf5_->Find(hdf5_->Root(), place); group && group->IsGroup())
            Collect(*group, place, 0);
    if (series_.empty()) TakeEventsOnly();
    std::vector<DataStream> streams;
    for (const Series& series : series_) {
        DataStream& stream = streams.emplace_back(
            DataStream{series.path, series.times.rate, series.times.Length(series.count)});
        for (const std::string& label : series.labels) stream.channels.push_back({label, series.unit});
    }
    return streams;
}

void CNwbDoc::Collect(const Hdf5Object& group, const std::string& path, int depth) {
    for (const std::string& name : group.outside)
        passedOver_.push_back(path + "/" + name + " (in another file)");
    std::vector<std::string> names;
    for (const auto& member : group.members) names.push_back(member.first);
    for (const auto& alias : group.aliases) names.push_back(alias.first);
    for (const std::string& name : names) {
        const auto found = hdf5_->Find(group, name);
        if (!found || !found->IsGroup() || ++taken_[found->address] > 1) continue;
        const std::string kind = AttributeText(*found, "neurodata_type");
        if (found->members.contains("data") || found->aliases.contains("data"))
            TakeSeries(*found, path + "/" + name, kind);
        else if (depth < nwbDepth)
            Collect(*found, path + "/" + name, depth + 1);
        if (series_.size() + marks_.size() > mostSeries)
            throw OpenError("This NWB file holds too many time series.");
    }
}

void CNwbDoc::TakeSeries(Hdf5Object group, const std::string& path, const std::string& kind) {
    auto data = hdf5_->Find(group, "data");
    if (!data || !data->array) return;
    Series series{path, kind, std::move(group), std::move(*data->array)};
    const bool isMarks = kind == "AnnotationSeries" || kind == "IntervalSeries" || kind == "SpikeEventSeries";
    if (isMarks) {
        marks_.push_back(std::move(series));
        return;
    }
    const std::vector<uint64_t>& sizes = series.data.sizes;
    const bool isShown = series.data.type.IsNumber() && (sizes.size() == 1 || sizes.size() == 2) &&
                         sizes[0] > 0 && sizes.back() > 0;
    if (!isShown) {
        passedOver_.push_back(path);
        return;
    }
    series.data.Count();
    series.unit = ShownUnit(AttributeText(*data, "unit"));
    series.factors = {AttributeNumber(*data, "conversion", 1.0)};
    series.offset = AttributeNumber(*data, "offset", 0.0);
    TakeTimes(series);
    series.count = static_cast<int64_t>(sizes[series.timeSide]);
    series.channels = sizes.size() > 1 ? static_cast<int64_t>(sizes[1 - series.timeSide]) : 1;
    const bool hasRate = series.times.rate > 0.0 && std::isfinite(1000.0 / series.times.rate);
    if (!series.times.isEven && sizes.size() == 1) {
        marks_.push_back(std::move(series));
        return;
    }
    if (!series.times.isEven || !hasRate || static_cast<uint64_t>(series.channels) > mostNwbChannels) {
        passedOver_.push_back(path);
        return;
    }
    TakeScale(series);
    TakeLabels(series);
    series_.push_back(std::move(series));
}

// Where both times and a rate are given, the times hold. Some writers put the channels first.
void CNwbDoc::TakeTimes(Series& series) {
    const std::vector<uint64_t>& sizes = series.data.sizes;
    uint64_t told = 0, electrodes = 0;
    const auto timestamps = hdf5_->Find(series.group, "timestamps");
    if (timestamps && timestamps->array && timestamps->array->sizes.size() == 1)
        told = timestamps->array->sizes[0];
    const auto listed = hdf5_->Find(series.group, "electrodes");
    if (listed && listed->array && listed->array->sizes.size() == 1) electrodes = listed->array->sizes[0];
    if (sizes.size() == 2 && (told > 0 ? sizes[0] != told && sizes[1] == told
                                       : electrodes > 0 && sizes[1] != electrodes && sizes[0] == electrodes))
        series.timeSide = 1;
    if (told > 0) {
        series.times = TimesOf(*timestamps);
        return;
    }
    series.times.isEven = false;
    const auto start = hdf5_->Find(series.group, "starting_time");
    if (!start || !start->array) return;
    const auto numbers = hdf5_->Numbers(*start->array, 1);
    series.times.rate = AttributeNumber(*start, "rate", 0.0);
    series.times.start = numbers.empty() || !std::isfinite(numbers[0]) ? 0.0 : numbers[0];
    series.times.isEven = true;
}

NwbTimes CNwbDoc::TimesOf(const Hdf5Object& timestamps) {
    const auto known = knownTimes_.find(timestamps.address);
    if (known != knownTimes_.end()) return known->second;
    Hdf5Samples samples(*hdf5_, *timestamps.array, 0);
    if (!samples.type.IsNumber()) return {.isEven = false};
    samples.isWidened = false;
    const int64_t count = samples.count;
    const Hdf5Type type = samples.type;
    const Hdf5Data data(OpenReadOnly(), std::move(samples));
    std::vector<std::byte> bytes;
    std::unique_ptr<Progress> progress;
    NwbTimes times;
    try {
        times = FindNwbTimes(
            count, MostRuns(hdf5_->File().Length(), 1),
            [&](int64_t from, std::span<double> to) {
                bytes.resize(to.size() * type.bytes);
                ReadWhole(data, static_cast<uint64_t>(from) * type.bytes, bytes);
                Hdf5Numbers(type, bytes.data(), to);
            },
            [&](int64_t done) {
                if (count > manyTimes && !GoesOn(progress, "Reading times", static_cast<uint64_t>(done),
                                                 static_cast<uint64_t>(count)))
                    throw OpenDeclined();
            });
    } catch (const FileError& error) {
        throw OpenError(error.what());
    }
    return knownTimes_[timestamps.address] = times;
}

void CNwbDoc::TakeScale(Series& series) {
    std::vector<double> each;
    const auto stated = hdf5_->Find(series.group, "channel_conversion");
    if (stated && stated->array) each = hdf5_->Numbers(*stated->array, mostNwbChannels);
    series.factors.resize(static_cast<size_t>(series.channels), series.factors[0]);
    for (size_t c = 0; c < std::min(each.size(), series.factors.size()); ++c)
        if (std::isfinite(each[c])) series.factors[c] *= each[c];
    ChoosePrefix(series.kind, series.unit, series.factors, series.offset);
}

void CNwbDoc::TakeLabels(Series& series) {
    const auto count = static_cast<size_t>(series.channels);
    const std::string name = LastOf(series.path);
    const auto rows = NumbersAt(series.group, "electrodes", count);
    const auto table =
        rows.empty() ? std::nullopt : hdf5_->Find(hdf5_->Root(), "general/extracellular_ephys/electrodes");
    std::vector<std::string> names;
    std::vector<double> ids;
    if (table) {
        for (const char* column : {"channel_name", "label"})
            if (const auto texts = hdf5_->Find(*table, column); names.empty() && texts && texts->array)
                names = hdf5_->Texts(*texts->array, mostNwbChannels);
        ids = NumbersAt(*table, "id", mostNwbChannels);
    }
    // Of a series without electrodes, as this program writes them.
    if (const auto told = series.group.attributes.find("trace_labels"); told != series.group.attributes.end())
        series.labels = hdf5_->Texts(told->second, count);
    for (size_t c = series.labels.size(); c < count; ++c) {
        const double row = c < rows.size() ? rows[c] : -1.0;
        const auto place = row >= 0.0 && row < 1e6 ? static_cast<size_t>(row) : SIZE_MAX;
        std::string& label = series.labels.emplace_back();
        if (place < names.size()) label = names[place];
        if (label.empty() && place < ids.size()) label = fmt::format("electrode {:.0f}", ids[place]);
        if (label.empty()) label = count > 1 ? fmt::format("{} {}", name, c + 1) : name;
    }
}

// A file of sorted units, say: as long as its events.
void CNwbDoc::TakeEventsOnly() {
    double last = -1.0;
    const auto take = [&](const char* path) {
        for (const double time : NumbersAt(hdf5_->Root(), path, mostForeignEvents))
            if (std::isfinite(time) && time < 1e9) last = std::max(last, time);
    };
    take("units/spike_times");
    if (const auto tables = hdf5_->Find(hdf5_->Root(), "intervals"))
        for (const auto& table : tables->members) take(("intervals/" + table.first + "/stop_time").c_str());
    if (last < 0.0) {
        std::string why = "This NWB file holds no time series of numbers, no units and no intervals.";
        if (!passedOver_.empty()) why += "\nPassed over: " + passedOver_[0];
        throw OpenError(why);
    }
    Series only{"events"};
    only.channels = 0;
    only.times.rate = rateOfEventsOnly;
    if (const auto spikes = hdf5_->Find(hdf5_->Root(), "units/spike_times"))
        if (const double step = AttributeNumber(*spikes, "resolution", 0.0); step >= 1e-6 && step <= 1.0)
            only.times.rate = 1.0 / step;
    only.count = std::llround(std::min(only.times.PositionOf(last), 2e9)) + 1;
    series_.push_back(std::move(only));
}

// --- the recording ---

ForeignRecording CNwbDoc::ReadStream(const StreamChoice& choice) {
    const Series& series = series_[choice.stream];
    ForeignRecording recording;
    recording.interval = 1000.0 / series.times.rate;
    Describe(recording, series);
    if (series.channels == 0) recording.lengthWithoutTraces = series.count;
    EventPlace place{series.times, series.times.Length(series.count), choice.from};
    AddIntervals(recording, place);
    AddMarks(recording, place);
    AddUnits(recording, place);
    if (place.outside > 0)
        recording.warnings.push_back(fmt::format(
            "{} events of the file lie before or behind {} and are left out.", place.outside, series.path));
    if (place.isFull)
        recording.warnings.push_back(
            fmt::format("The file holds more than {} events; those behind are left out.", mostForeignEvents));
    if (series.channels > 0) AddTraces(recording, series, choice);
    if (!passedOver_.empty()) {
        recording.log = "NWB file: passed over";
        for (size_t i = 0; i < std::min<size_t>(passedOver_.size(), 50); ++i)
            recording.log += (i == 0 ? " " : ", ") + passedOver_[i].substr(0, 200);
        recording.log += "\n";
    }
    hdf5_.reset();
    return recording;
}

void CNwbDoc::AddTraces(ForeignRecording& recording, const Series& series, const StreamChoice& choice) {
    Hdf5Samples samples(*hdf5_, series.data, series.timeSide);
    const int64_t count = samples.count;
    if (count < 1) throw OpenError(fmt::format("{} holds no samples.", series.path));
    if (samples.isCutOff)
        recording.warnings.push_back(fmt::format("{} is cut off: {} holds {} of {} samples.",
                                                 filePath.filename().string(), series.path, count,
                                                 series.count));
    const bool isPlain = samples.IsPlain();
    const uint64_t each = samples.type.bytes, start = samples.address;
    ChannelSource like;
    like.type = samples.numbers;
    like.order = samples.isWidened ? ByteOrder::little : samples.type.order;
    like.stride = static_cast<uint32_t>(BytesOf(samples.numbers));
    const bool isInterleaved = isPlain && series.timeSide == 0 && series.channels > 1;
    if (isInterleaved) like.stride = static_cast<uint32_t>(each * static_cast<uint64_t>(series.channels));
    const uint64_t stretch = static_cast<uint64_t>(count) * static_cast<uint64_t>(BytesOf(samples.numbers));
    for (const int channel : choice.channels) {
        const auto c = static_cast<size_t>(channel);
        ForeignTrace& trace =
            recording.traces.emplace_back(ForeignTrace{series.labels[c], series.unit, like});
        trace.source.scales = {ValueScale{series.factors[c], series.offset}};
        const uint64_t at =
            (isPlain ? start : 0) + static_cast<uint64_t>(channel) * (isInterleaved ? each : stretch);
        for (size_t r = 0; r < series.times.runs.size(); ++r) {
            const BlockRun& run = series.times.runs[r];
            const int64_t end = r + 1 < series.times.runs.size() ? series.times.runs[r + 1].block : count;
            trace.source.Add(run.position, std::min(end, count) - run.block,
                             at + static_cast<uint64_t>(run.block) * like.stride);
        }
    }
    if (!isPlain) sampleFile = std::make_unique<Hdf5Data>(OpenReadOnly(), std::move(samples));
}

// Each table of intervals is a channel: "trials", "epochs".
void CNwbDoc::AddIntervals(ForeignRecording& recording, EventPlace& place) {
    const auto tables = hdf5_->Find(hdf5_->Root(), "intervals");
    if (!tables) return;
    for (const auto& [name, address] : tables->members) {
        const Hdf5Object table = hdf5_->Read(address);
        const auto on = NumbersAt(table, "start_time", mostForeignEvents),
                   off = NumbersAt(table, "stop_time", mostForeignEvents);
        std::vector<std::string> labels;
        const auto columns = table.attributes.find("colnames");
        if (columns != table.attributes.end())
            for (const std::string& column : hdf5_->Texts(columns->second, 1000)) {
                const auto texts = hdf5_->Find(table, column);
                const bool isLabels =
                    labels.empty() && texts && texts->array && !table.members.contains(column + "_index");
                if (isLabels && texts->array->sizes.size() == 1)
                    labels = hdf5_->Texts(*texts->array, mostTexts);
            }
        const auto values = NumbersAt(table, "value", mostForeignEvents);
        ForeignEvents found{name, AttributeText(table, "description")};
        for (size_t i = 0; i < on.size(); ++i)
            place.Add(found.events, on[i], i < off.size() ? off[i] : on[i],
                      i < labels.size() ? labels[i] : "",
                      i < values.size() ? static_cast<float>(values[i]) : 0.0f);
        if (!found.events.empty()) recording.events.push_back(std::move(found));
    }
}

// Annotations, intervals of codes, and samples at times of their own.
void CNwbDoc::AddMarks(ForeignRecording& recording, EventPlace& place) {
    for (const Series& series : marks_) {
        const auto times = NumbersAt(series.group, "timestamps", mostForeignEvents);
        const bool isIntervals = series.kind == "IntervalSeries";
        const std::vector<std::string> texts = hdf5_->Texts(series.data, mostTexts);
        std::vector<double> values;
        if (series.data.sizes.size() == 1) values = hdf5_->Numbers(series.data, mostForeignEvents);
        ForeignEvents found{LastOf(series.path), AttributeText(series.group, "description")};
        for (size_t i = 0; i < times.size(); ++i) {
            const double value = i < values.size() ? values[i] : 0.0;
            if (isIntervals && !(value > 0.0)) continue;  // where one ends
            const double end = isIntervals && i + 1 < times.size() ? times[i + 1] : times[i];
            const float shown =
                isIntervals ? static_cast<float>(value)
                            : static_cast<float>(value * (series.factors.empty() ? 1.0 : series.factors[0]) +
                                                 series.offset);
            place.Add(found.events, times[i], end, i < texts.size() ? texts[i] : "", shown);
        }
        if (!found.events.empty()) recording.events.push_back(std::move(found));
    }
}

void CNwbDoc::AddUnits(ForeignRecording& recording, EventPlace& place) {
    const auto table = hdf5_->Find(hdf5_->Root(), "units");
    if (!table || !table->IsGroup()) return;
    const auto spikes = NumbersAt(*table, "spike_times", mostForeignEvents);
    auto ends = NumbersAt(*table, "spike_times_index", mostForeignEvents);
    const auto ids = NumbersAt(*table, "id", mostForeignEvents);
    if (ends.empty() && !spikes.empty()) ends = {static_cast<double>(spikes.size())};
    const bool isOne = ends.size() > mostUnitChannels;  // more than there are channels
    ForeignEvents all{"units", "Units of the file; the value is the number of the unit"};
    std::vector<std::pair<std::string, std::vector<std::string>>> columns;
    if (const auto names = table->attributes.find("colnames"); names != table->attributes.end() && !isOne)
        for (const std::string& name : hdf5_->Texts(names->second, 1000)) {
            const auto column = hdf5_->Find(*table, name);
            if (!column || !column->array || column->array->sizes.size() != 1 ||
                table->members.contains(name + "_index"))
                continue;
            if (auto texts = hdf5_->Texts(*column->array, mostUnitChannels); !texts.empty())
                columns.emplace_back(name, std::move(texts));
        }
    size_t next = 0;
    for (size_t u = 0; u < ends.size(); ++u) {
        const double id = u < ids.size() ? ids[u] : static_cast<double>(u);
        const size_t end = ends[u] >= 0.0 && ends[u] <= static_cast<double>(spikes.size())
                               ? static_cast<size_t>(ends[u])
                               : next;
        ForeignEvents own{fmt::format("unit {:.0f}", id), ""};
        for (const auto& [name, texts] : columns)
            if (u < texts.size() && name == "label" && !texts[u].empty())
                own.label = texts[u];
            else if (u < texts.size() && !texts[u].empty())
                own.comment += fmt::format("{}{}: {}", own.comment.empty() ? "" : ", ", name, texts[u]);
        for (; next < end; ++next)
            place.Add((isOne ? all : own).events, spikes[next], spikes[next], "",
                      isOne ? static_cast<float>(id) : 0.0f);
        if (!own.events.empty()) recording.events.push_back(std::move(own));
    }
    if (!all.events.empty()) recording.events.push_back(std::move(all));
}

void CNwbDoc::Describe(ForeignRecording& recording, const Series& series) {
    const Hdf5Object& root = hdf5_->Root();
    const std::string version = AttributeText(root, "nwb_version"), time = TextAt(root, "session_start_time");
    const std::string reference = TextAt(root, "timestamps_reference_time");
    const auto line = [&](const char* what, const std::string& text) {
        if (text.empty() || recording.comment.size() > mostNwbCommentBytes) return;
        recording.comment += fmt::format("{}: {}\r\n", what, text);
        recording.details.emplace_back(what, text.substr(0, 200));
    };
    recording.details = {{"File type", "NWB " + version}};
    recording.comment = "NWB " + version + "\r\n";
    line("Session", TextAt(root, "session_description"));
    line("Identifier", TextAt(root, "identifier"));
    line("Start", time);
    line("Experimenter", TextAt(root, "general/experimenter"));
    line("Institution", TextAt(root, "general/institution"));
    line("Laboratory", TextAt(root, "general/lab"));
    constexpr const char* subject[] = {"subject_id", "species", "sex",        "age",
                                       "genotype",   "weight",  "description"};
    if (const auto group = hdf5_->Find(root, "general/subject"))
        for (const char* field : subject)
            line(fmt::format("Subject, {}", field).c_str(), TextAt(*group, field));
    line("Notes", TextAt(root, "general/notes"));
    if (series.channels > 0) {
        line("Series", series.path + (series.kind.empty() ? "" : " (" + series.kind + ")"));
        line("Description", AttributeText(series.group, "description"));
        line("Comments", AttributeText(series.group, "comments"));
    }
    const std::string& zero = reference.empty() ? time : reference;
    if (const auto clock = ClockOf(zero)) {
        const double start = *clock + series.times.start * 1000.0, days = std::floor(start / 86400000.0);
        recording.startClock = start - days * 86400000.0;
        int year = 0, month = 0, day = 0;
        std::sscanf(zero.c_str(), "%4d-%2d-%2d", &year, &month, &day);
        recording.startDate = DayOf(year, month, day);
        if (recording.startDate && std::fabs(days) < 1e5)
            *recording.startDate += std::chrono::days(static_cast<int>(days));
    }
}

}  // namespace kymora
