#include "exchange/nwb_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <limits>
#include <set>

#include "archive/text_encoding.h"
#include "document/native_writer.h"
#include "exchange/export_source.h"
#include "exchange/hdf5_output.h"
#include "host/user_numbers.h"
#include "import/edf_doc.h"

namespace kymora {

namespace {

constexpr size_t timesAtOnce = 1 << 14;
constexpr const char* electrodesPath = "general/extracellular_ephys/electrodes";

// What NWB calls a unit, and how much of it the traces' unit is.
struct NwbUnit {
    std::string name;
    double factor = 1.0;
};

NwbUnit UnitOf(const std::string& shown) {
    constexpr struct {
        std::string_view prefix;
        double factor;
    } prefixes[] = {{"", 1.0},        {"m", 1e-3}, {"u", 1e-6},  {"\u00B5", 1e-6},
                    {"\u03BC", 1e-6}, {"n", 1e-9}, {"p", 1e-12}, {"k", 1e3}};
    for (const auto& [prefix, factor] : prefixes) {
        if (shown == std::string(prefix) + "V") return {"volts", factor};
        if (shown == std::string(prefix) + "A") return {"amperes", factor};
    }
    return {shown.empty() ? "n.a." : ToDisplayText(shown), 1.0};
}

// Traces that become one series.
struct TraceGroup {
    std::string name;
    std::string unit;
    std::vector<int> traces{};
    std::vector<double> factors{};
    bool IsElectrical() const { return unit == "volts"; }
};

// The same name gives the same number.
std::string ObjectId(const std::string& name) {
    std::array<uint64_t, 2> parts{14695981039346656037u, 1099511628211u};
    for (const char c : name)
        for (size_t i = 0; i < parts.size(); ++i)
            parts[i] = (parts[i] ^ static_cast<unsigned char>(c)) * (1099511628211u + 2 * i);
    return fmt::format("{:08x}-{:04x}-4{:03x}-8{:03x}-{:012x}", parts[0] >> 32, parts[0] >> 16 & 0xFFFF,
                       parts[0] & 0xFFF, parts[1] >> 52, parts[1] & 0xFFFFFFFFFFFF);
}

// Text as the name of an object: paths are cut at slashes.
std::string ObjectName(std::string_view text) {
    std::string name = ToDisplayText(text);
    for (char& c : name)
        if (c == '/' || c == '.' || static_cast<unsigned char>(c) < ' ') c = '_';
    return name;
}

std::string UniqueName(std::set<std::string>& taken, const std::string& wanted) {
    std::string name = wanted;
    for (int n = 2; !taken.insert(name).second; ++n) name = fmt::format("{} {}", wanted, n);
    return name;
}

class NwbExport {
  public:
    NwbExport(CDataDoc& doc, std::vector<std::string>& notes) : doc_(doc), notes_(notes) {
        if (!doc.noData) runs_ = SampledRuns(doc);
        for (const ExportRun& run : runs_) samples_ += run.end - run.start;
        FindGroups();
    }
    uint64_t Steps() const { return static_cast<uint64_t>(samples_) * groups_.size(); }
    bool IsEmpty() const { return runs_.empty() && ExportChannels(doc_).empty(); }
    void Write(Hdf5Output& file, ProgressScope& progress);

  private:
    bool HasTimes() const { return runs_.size() > 1; }
    double SecondsAt(int64_t position) const {
        return static_cast<double>(position) * doc_.sampleInterval / 1000.0;
    }
    void FindGroups();
    void Name(Hdf5Output& file, const std::string& path, const char* kind, const char* space = "core");
    void WriteSession(Hdf5Output& file);
    void WriteElectrodes(Hdf5Output& file, const TraceGroup& group);
    void WriteSeries(Hdf5Output& file, const TraceGroup& group, ProgressScope& progress);
    void WriteTimes(Hdf5Output& file, const std::string& path);
    bool AreBare(int channel) const;
    void WriteEvents(Hdf5Output& file);
    void WriteUnits(Hdf5Output& file, const std::vector<int>& channels);
    void WriteIntervals(Hdf5Output& file, int channel, const std::string& name);
    void BeginTable(Hdf5Output& file, const std::string& path, const char* kind, const char* space,
                    const std::string& description, const std::vector<std::string>& columns);
    void Column(Hdf5Output& file, const std::string& path, const char* description,
                const char* kind = "VectorData");

    CDataDoc& doc_;
    std::vector<std::string>& notes_;
    std::vector<ExportRun> runs_;
    int64_t samples_ = 0;
    std::vector<TraceGroup> groups_;
    std::string timesPath_;  // of the first series, where they are told one by one
    int64_t noNumbers_ = 0;
};

void NwbExport::FindGroups() {
    if (runs_.empty()) return;
    std::set<std::string> names;
    for (int t = 0; t < doc_.traceCount; ++t) {
        const TraceSettings& trace = doc_.traces[static_cast<size_t>(t)];
        const NwbUnit unit = UnitOf(trace.traceUnits);
        auto group = std::find_if(groups_.begin(), groups_.end(), [&](const TraceGroup& known) {
            return known.unit == unit.name && (known.IsElectrical() || known.factors[0] == unit.factor);
        });
        if (group == groups_.end()) {
            const std::string wanted = ObjectName(trace.traceLabel);
            group = groups_.insert(groups_.end(), TraceGroup{wanted.empty() ? "traces" : wanted, unit.name});
        }
        group->traces.push_back(t);
        group->factors.push_back(unit.factor);
    }
    for (TraceGroup& group : groups_) {
        if (group.IsElectrical()) group.name = "ElectricalSeries";
        if (!group.IsElectrical() && group.traces.size() > 1)
            group.name = "traces in " + ObjectName(group.unit);
        group.name = UniqueName(names, group.name);
    }
    if (groups_.size() > 1)
        notes_.push_back(fmt::format("The traces became {} time series, one for each unit.", groups_.size()));
}

void NwbExport::Name(Hdf5Output& file, const std::string& path, const char* kind, const char* space) {
    file.Attribute(path, "neurodata_type", std::string(kind));
    file.Attribute(path, "namespace", std::string(space));
    file.Attribute(path, "object_id", ObjectId(doc_.filePath.filename().string() + "/" + path));
}

void NwbExport::Write(Hdf5Output& file, ProgressScope& progress) {
    WriteSession(file);
    for (const TraceGroup& group : groups_) {
        if (group.IsElectrical()) WriteElectrodes(file, group);
        WriteSeries(file, group, progress);
    }
    WriteEvents(file);
    if (noNumbers_ != 0)
        notes_.push_back(fmt::format("{} samples that were gaps of some traces only became \"not a number\".",
                                     noNumbers_));
    if (!doc_.markers.empty()) notes_.push_back("Markers are not written.");
}

void NwbExport::WriteSession(Hdf5Output& file) {
    Name(file, "/", "NWBFile");
    file.Attribute("/", "nwb_version", std::string("2.5.0"));
    const auto clock = static_cast<int64_t>(std::max(doc_.GetStartClock().value_or(0.0), 0.0)) % 86400000;
    std::string date = "1970-01-01";
    if (const auto told = StartDay(doc_)) {
        const std::chrono::year_month_day day(*told);
        date = fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()),
                           static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
    } else {
        notes_.push_back("The recording does not tell its date; 1970-01-01 stands for it.");
    }
    const std::string start = fmt::format("{}T{:02}:{:02}:{:02}.{:03}000+00:00", date, clock / 3600000,
                                          clock / 60000 % 60, clock / 1000 % 60, clock % 1000);
    const std::string comment = ToDisplayText(doc_.fileComment);
    const std::time_t now = doc_.GetSession().now();
    std::tm made{};
    gmtime_r(&now, &made);
    file.Text("session_description", comment.empty() ? "recording" : comment);
    const std::string name = ToDisplayText(doc_.filePath.filename().string());
    file.Text("identifier", name.empty() ? "recording" : name);
    file.Text("session_start_time", start);
    file.Text("timestamps_reference_time", start);
    file.Texts("file_create_date",
               {fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}+00:00", made.tm_year + 1900, made.tm_mon + 1,
                            made.tm_mday, made.tm_hour, made.tm_min, made.tm_sec)});
    for (const char* group :
         {"acquisition", "analysis", "processing", "stimulus/presentation", "stimulus/templates", "general"})
        file.Group(group);
}

// A table row for each trace: the form asks for electrodes, of which the recording knows the names alone.
void NwbExport::WriteElectrodes(Hdf5Output& file, const TraceGroup& group) {
    const std::string device = "general/devices/unknown", shank = "general/extracellular_ephys/traces";
    file.Group(device);
    Name(file, device, "Device");
    file.Group(shank);
    Name(file, shank, "ElectrodeGroup");
    file.Attribute(shank, "description", std::string("traces of the recording"));
    file.Attribute(shank, "location", std::string("unknown"));
    file.Link(shank + "/device", device);
    BeginTable(file, electrodesPath, "DynamicTable", "hdmf-common", "the traces of the recording",
               {"location", "group", "group_name", "label"});
    const std::string path = std::string(electrodesPath) + "/";
    const size_t count = group.traces.size();
    std::vector<int64_t> ids;
    std::vector<std::string> labels;
    for (const int t : group.traces) {
        ids.push_back(t);
        labels.push_back(ToDisplayText(doc_.traces[static_cast<size_t>(t)].traceLabel));
    }
    file.Wholes(path + "id", ids);
    Name(file, path + "id", "ElementIdentifiers", "hdmf-common");
    file.Texts(path + "location", std::vector<std::string>(count, "unknown"));
    Column(file, path + "location", "where the electrode lies");
    file.References(path + "group", std::vector<std::string>(count, shank));
    Column(file, path + "group", "the group of the electrode");
    file.Texts(path + "group_name", std::vector<std::string>(count, "traces"));
    Column(file, path + "group_name", "its name");
    file.Texts(path + "label", labels);
    Column(file, path + "label", "the label of the trace");
}

void NwbExport::WriteSeries(Hdf5Output& file, const TraceGroup& group, ProgressScope& progress) {
    const std::string path = "acquisition/" + group.name;
    const size_t columns = group.traces.size();
    const bool isMatrix = group.IsElectrical() || columns > 1;
    std::vector<std::string> labels;
    for (const int t : group.traces)
        labels.push_back(ToDisplayText(doc_.traces[static_cast<size_t>(t)].traceLabel));
    file.Group(path);
    Name(file, path, group.IsElectrical() ? "ElectricalSeries" : "TimeSeries");
    file.Attribute(path, "description", std::string("traces of a recording"));
    file.Attribute(path, "comments", std::string("no comments"));
    file.Attribute(path, "trace_labels", labels);
    if (group.IsElectrical()) {
        std::vector<int64_t> rows(columns);
        for (size_t i = 0; i < columns; ++i) rows[i] = static_cast<int64_t>(i);
        const std::string listed = path + "/electrodes";
        file.Wholes(listed, rows);
        Name(file, listed, "DynamicTableRegion", "hdmf-common");
        file.Attribute(listed, "description", std::string("the traces"));
        file.ReferenceAttribute(listed, "table", electrodesPath);
        std::vector<double> relative = group.factors;
        for (double& factor : relative) factor /= group.factors[0];
        if (std::any_of(relative.begin(), relative.end(), [](double factor) { return factor != 1.0; }))
            file.Numbers(path + "/channel_conversion", relative);
    }
    WriteTimes(file, path);
    const std::string data = path + "/data";
    file.BeginSingles(data, samples_, isMatrix ? static_cast<int64_t>(columns) : 0);
    std::vector<std::vector<float>> values(columns, std::vector<float>(exportBlockSamples));
    std::vector<std::vector<uint8_t>> valid(columns, std::vector<uint8_t>(exportBlockSamples));
    std::vector<float> rows(columns * exportBlockSamples);
    for (const ExportRun& run : runs_)
        for (int64_t at = run.start; at < run.end; at += exportBlockSamples) {
            const auto count = static_cast<size_t>(std::min(exportBlockSamples, run.end - at));
            std::vector<TraceBlock> blocks;
            for (size_t c = 0; c < columns; ++c)
                blocks.push_back({group.traces[c], {values[c].data(), count}, {valid[c].data(), count}});
            doc_.ReadBlocks(at, blocks);
            for (size_t c = 0; c < columns; ++c)
                for (size_t i = 0; i < count; ++i) {
                    const bool isSample = valid[c][i] != 0;
                    noNumbers_ += isSample ? 0 : 1;
                    rows[i * columns + c] = isSample ? values[c][i] : std::numeric_limits<float>::quiet_NaN();
                }
            file.AddSingles(std::span(rows).first(count * columns));
            progress.Step(count);
        }
    file.Attribute(data, "unit", group.unit);
    file.Attribute(data, "conversion", group.factors[0]);
    file.Attribute(data, "offset", 0.0);
    file.Attribute(data, "resolution", -1.0);
}

void NwbExport::WriteTimes(Hdf5Output& file, const std::string& path) {
    if (!HasTimes()) {
        const std::string start = path + "/starting_time";
        file.Number(start, SecondsAt(runs_[0].start));
        file.Attribute(start, "rate", 1000.0 / doc_.sampleInterval);
        file.Attribute(start, "unit", std::string("seconds"));
        return;
    }
    const std::string times = path + "/timestamps";
    if (!timesPath_.empty()) return file.Link(times, timesPath_);
    file.BeginDoubles(times, samples_);
    std::vector<double> seconds;
    for (const ExportRun& run : runs_)
        for (int64_t at = run.start; at < run.end; ++at) {
            seconds.push_back(SecondsAt(at));
            if (seconds.size() < timesAtOnce && !(at + 1 == run.end && &run == &runs_.back())) continue;
            file.AddDoubles(seconds);
            seconds.clear();
        }
    file.Attribute(times, "interval", 1.0);
    file.Attribute(times, "unit", std::string("seconds"));
    timesPath_ = times;
}

// --- events ---

// They are moments and nothing else.
bool NwbExport::AreBare(int channel) const {
    for (int i = 0; i < doc_.GetNumEvents(channel); ++i) {
        const CEventKM& event = *doc_.GetEvent(channel, i);
        if (event.offPosition > event.onPosition + 1 || event.eventValue != 0.0f ||
            !event.eventLabel.View().empty())
            return false;
    }
    return true;
}

void NwbExport::BeginTable(Hdf5Output& file, const std::string& path, const char* kind, const char* space,
                           const std::string& description, const std::vector<std::string>& columns) {
    file.Group(path);
    Name(file, path, kind, space);
    file.Attribute(path, "description", description);
    file.Attribute(path, "colnames", columns);
}

void NwbExport::Column(Hdf5Output& file, const std::string& path, const char* description, const char* kind) {
    Name(file, path, kind, "hdmf-common");
    file.Attribute(path, "description", std::string(description));
}

void NwbExport::WriteEvents(Hdf5Output& file) {
    std::vector<int> bare;
    std::set<std::string> names;
    for (const int c : ExportChannels(doc_)) {
        if (AreBare(c)) {
            bare.push_back(c);
            continue;
        }
        std::string name = ObjectName(doc_.eventChannels[static_cast<size_t>(c)].channelLabel);
        if (name.empty()) name = "events " + ChannelName(c);
        WriteIntervals(file, c, UniqueName(names, name));
    }
    if (!bare.empty()) WriteUnits(file, bare);
}

void NwbExport::WriteUnits(Hdf5Output& file, const std::vector<int>& channels) {
    std::vector<double> times;
    std::vector<int64_t> ends, ids;
    std::vector<std::string> labels;
    for (const int c : channels) {
        for (int i = 0; i < doc_.GetNumEvents(c); ++i)
            if (const int32_t on = doc_.GetOn(c, i); on >= 0) times.push_back(SecondsAt(on));
        ends.push_back(static_cast<int64_t>(times.size()));
        ids.push_back(c);
        const std::string label = ToDisplayText(doc_.eventChannels[static_cast<size_t>(c)].channelLabel);
        labels.push_back(label.empty() ? "channel " + ChannelName(c) : label);
    }
    BeginTable(file, "units", "Units", "core", "event channels of the recording", {"spike_times", "label"});
    file.Wholes("units/id", ids);
    Name(file, "units/id", "ElementIdentifiers", "hdmf-common");
    file.Numbers("units/spike_times", times);
    Column(file, "units/spike_times", "the times of the events");
    file.Attribute("units/spike_times", "resolution", doc_.sampleInterval / 1000.0);
    file.Wholes("units/spike_times_index", ends);
    Column(file, "units/spike_times_index", "where those of each channel end", "VectorIndex");
    file.ReferenceAttribute("units/spike_times_index", "target", "units/spike_times");
    file.Texts("units/label", labels);
    Column(file, "units/label", "the label of the channel");
}

void NwbExport::WriteIntervals(Hdf5Output& file, int channel, const std::string& name) {
    std::vector<double> starts, ends, values;
    std::vector<int64_t> ids;
    std::vector<std::string> labels;
    for (int i = 0; i < doc_.GetNumEvents(channel); ++i) {
        const CEventKM& event = *doc_.GetEvent(channel, i);
        if (event.onPosition < 0) continue;  // it has no place
        ids.push_back(i);
        starts.push_back(SecondsAt(event.onPosition));
        ends.push_back(SecondsAt(event.offPosition));
        values.push_back(static_cast<double>(event.eventValue));
        labels.push_back(ToDisplayText(event.eventLabel.View()));
    }
    const std::string path = "intervals/" + name;
    const std::string comment =
        ToDisplayText(doc_.eventChannels[static_cast<size_t>(channel)].channelComment);
    BeginTable(file, path, "TimeIntervals", "core",
               comment.empty() ? "event channel of the recording" : comment,
               {"start_time", "stop_time", "label", "value"});
    file.Wholes(path + "/id", ids);
    Name(file, path + "/id", "ElementIdentifiers", "hdmf-common");
    file.Numbers(path + "/start_time", starts);
    Column(file, path + "/start_time", "s");
    file.Numbers(path + "/stop_time", ends);
    Column(file, path + "/stop_time", "s");
    file.Texts(path + "/label", labels);
    Column(file, path + "/label", "of the event");
    file.Numbers(path + "/value", values);
    Column(file, path + "/value", "of the event");
}

}  // namespace

std::vector<std::string> WriteNwbFile(CDataDoc& doc, const std::filesystem::path& path) {
    std::vector<std::string> notes;
    NwbExport output(doc, notes);
    if (output.IsEmpty())
        throw FileError("The recording holds no samples and no events that an NWB file could hold.", 0);
    ProgressScope progress(doc.GetHost(), "Writing NWB", output.Steps());
    FileSystem& files = doc.GetSession().files;
    WriteContentAtomically(files, path, files.Stamp(path), [&](DataFile& target) {
        Hdf5Output file(target);
        output.Write(file, progress);
        file.Close();
    });
    return notes;
}

}  // namespace kymora
