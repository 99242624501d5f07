#include "import/pico_mat_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "archive/text_encoding.h"
#include "document/side_car.h"
#include "host/form.h"
#include "import/mat_file.h"

namespace kymora {

namespace {

constexpr const char* variablesKey = "variables";
constexpr const char* intervalKey = "sampleInterval";
constexpr double leastMatInterval = 1e-9, greatestMatInterval = 1e10;  // ms

// The longer side is time.
size_t LengthOf(const MatArray& array) { return std::max(array.rows, array.columns); }
size_t TracesOf(const MatArray& array) { return std::min(array.rows, array.columns); }

// "values" of "emg.values".
std::string LastPart(const std::string& name) { return FoldCase(name.substr(name.rfind('.') + 1)); }
std::string PartsBefore(const std::string& name) {
    return name.substr(0, std::min(name.rfind('.'), name.size()));
}

bool IsTimes(const MatArray& array) {
    const std::string name = LastPart(array.name);
    return TracesOf(array) == 1 && (name == "t" || name == "time" || name == "times");
}

// What is as long as the longest, but for times.
std::vector<std::string> UsualVariables(const MatContents& contents) {
    size_t longest = 0;
    for (const MatArray& array : contents.arrays)
        if (!IsTimes(array)) longest = std::max(longest, LengthOf(array));
    std::vector<std::string> names;
    for (const MatArray& array : contents.arrays)
        if (!IsTimes(array) && LengthOf(array) == longest) names.push_back(array.name);
    return names;
}

// Milliseconds, of a number that goes by a usual name, or of evenly spaced times.
std::optional<double> IntervalIn(const MatContents& contents) {
    for (const auto& [name, number] : contents.numbers) {
        const std::string part = LastPart(name);
        double ms = 0.0;
        if (part == "tinterval" || part == "interval" || part == "dt" || part == "sampleinterval")
            ms = number * 1e3;
        if (part == "fs" || part == "srate" || part == "samplerate" || part == "samplingrate")
            ms = 1e3 / number;
        if (ms >= leastMatInterval && ms <= greatestMatInterval) return ms;
    }
    for (const MatArray& array : contents.arrays) {
        if (!IsTimes(array)) continue;
        const auto& times = array.values;
        const double step = (double{times.back()} - times.front()) / static_cast<double>(times.size() - 1);
        const double tolerance = 1e-3 * step + 2e-7 * std::fabs(times.back());
        bool isEven = step > 0.0;
        for (size_t i = 0; i < times.size() && isEven; ++i)
            isEven = std::fabs(times[i] - (times[0] + step * static_cast<double>(i))) <= tolerance;
        if (isEven) return step * 1e3;
    }
    return {};
}

std::string TextOfField(const MatContents& contents, const std::string& array, const char* field) {
    const auto text = contents.texts.find(PartsBefore(array) + "." + field);
    return text == contents.texts.end() ? std::string() : text->second;
}

std::vector<std::string> NamesOf(const MatContents& contents) {
    std::vector<std::string> names;
    for (const MatArray& array : contents.arrays) names.push_back(array.name);
    return names;
}

std::vector<std::string> ParseNames(const std::string& setting, const MatContents& contents) {
    const std::vector<std::string> known = NamesOf(contents);
    std::vector<std::string> names;
    for (size_t at = 0; at <= setting.size();) {
        const size_t comma = std::min(setting.find(',', at), setting.size());
        const std::string name = setting.substr(at, comma - at);
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            std::string all;
            for (size_t i = 0; i < std::min<size_t>(known.size(), 20); ++i)
                all += (i == 0 ? "" : ", ") + known[i];
            throw ImportSettingError(variablesKey, setting, "names of the file's variables: " + all);
        }
        names.push_back(name);
        at = comma + 1;
    }
    return names;
}

}  // namespace

void CPicoMatDoc::Load() {
    RememberStamp(filePath);
    const std::unique_ptr<DataFile> file = OpenReadOnly();
    const MatContents contents = ReadMatFile(*file);
    if (contents.arrays.empty())
        throw OpenError("This MATLAB file holds no vectors or matrices of real numbers.");
    Choose(contents);
    TakeTraces(contents);
    if (!contents.passedOver.empty())
        GetHost().Log(fmt::format("MATLAB file: passed over {}\n", contents.passedOver));
    FillModel();
    const SideCarResult sideCar = ReadSideCar(*this);
    if (sideCar == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (sideCar == SideCarResult::read) ScaleUnknownTraces(*this);
}

void CPicoMatDoc::Choose(const MatContents& contents) {
    const std::string* names = CurrentOpening().Setting(variablesKey);
    const std::string* stated = CurrentOpening().Setting(intervalKey);
    variables_ = names ? ParseNames(*names, contents) : UsualVariables(contents);
    const std::optional<double> told = IntervalIn(contents);
    interval_ = told.value_or(1.0);
    if (stated) {
        const auto [end, error] = std::from_chars(stated->data(), stated->data() + stated->size(), interval_);
        if (error != std::errc() || end != stated->data() + stated->size() ||
            !(interval_ >= leastMatInterval && interval_ <= greatestMatInterval))
            throw ImportSettingError(intervalKey, *stated, "milliseconds from 1e-9 to 1e10");
    }
    const bool isSettled = names && stated;
    if (GetOpening().Asks() && !isSettled && !Ask(contents, names != nullptr, stated != nullptr))
        throw OpenDeclined();
    if (!GetOpening().Asks() && !stated && !told)
        Tell(fmt::format(
            "{} does not tell its sample interval; 1 ms is used. The command line takes another one, "
            "with --import sampleInterval=MS.",
            filePath.filename().string()));
}

bool CPicoMatDoc::Ask(const MatContents& contents, bool areNamed, bool isTimed) {
    Form form("MATLAB File Properties");
    std::vector<std::string> rows;
    std::vector<uint8_t> checks;
    for (const MatArray& array : contents.arrays) {
        rows.push_back(fmt::format("{}  {} x {}", array.name, array.rows, array.columns));
        checks.push_back(std::find(variables_.begin(), variables_.end(), array.name) != variables_.end());
    }
    const auto unless = [](bool given) {
        return given ? [](const Form&) { return false; } : std::function<bool(const Form&)>();
    };
    Field& list =
        form.AddCheckList(variablesKey, "Variables to show as traces", std::move(rows), std::move(checks),
                          "The longer side of a matrix is time; each row of its shorter side is a trace.");
    list.Search();
    list.enabled = unless(areNamed);
    form.AddNumber(intervalKey, "Sample interval (ms)", interval_,
                   "Time from one sample of a trace to its next.")
        .Limits(leastMatInterval, greatestMatInterval)
        .EnabledIf(unless(isTimed));
    form.validate = [](const Form& asked) {
        const auto& marks = asked[variablesKey].checks;
        const bool any = std::any_of(marks.begin(), marks.end(), [](uint8_t mark) { return mark != 0; });
        return std::string(any ? "" : "You need at least 1 data trace selected.");
    };
    if (!GetHost().AskForm(form)) return false;
    interval_ = form.Number(intervalKey);
    variables_.clear();
    const auto& marks = form[variablesKey].checks;
    for (size_t i = 0; i < contents.arrays.size(); ++i)
        if (marks[i] != 0) variables_.push_back(contents.arrays[i].name);
    return true;
}

void CPicoMatDoc::TakeTraces(const MatContents& contents) {
    auto made = std::make_shared<Traces>();
    for (const std::string& name : variables_) {
        const MatArray& array = *std::find_if(contents.arrays.begin(), contents.arrays.end(),
                                              [&](const MatArray& a) { return a.name == name; });
        const size_t count = TracesOf(array), length = LengthOf(array);
        const bool isAcross = array.columns > array.rows;  // time runs along rows
        if (count + made->values.size() > maxTraces)
            throw OpenError(
                "There are more than 128 data channels in the chosen variables. Kymora can only handle 128");
        if (length > static_cast<size_t>(longestRecording)) throw OpenError(tooLongText);
        std::string label = TextOfField(contents, name, "title");
        if (label.empty()) label = LastPart(name) == "values" ? PartsBefore(name) : name;
        for (size_t t = 0; t < count; ++t) {
            auto& values = made->values.emplace_back(length);
            for (size_t i = 0; i < length; ++i)
                values[i] = isAcross ? array.values[i * array.rows + t] : array.values[t * array.rows + i];
            made->labels.push_back(count > 1 ? fmt::format("{} {}", label, t + 1) : label);
            made->units.push_back(TextOfField(contents, name, "units"));
        }
    }
    samples_ = std::move(made);
    comment_.clear();
    for (const auto& [name, text] : contents.texts)
        if (comment_.size() < 10000 && !text.empty()) comment_ += fmt::format("{}: {}\r\n", name, text);
}

void CPicoMatDoc::FillModel() {
    sampleInterval = interval_;
    traceCount = static_cast<int>(samples_->values.size());
    size_t longest = 0;
    for (const auto& values : samples_->values) longest = std::max(longest, values.size());
    for (size_t t = 0; t < samples_->values.size(); ++t) {
        std::vector<uint32_t> runs{0};
        AddRun(runs, true, static_cast<int64_t>(samples_->values[t].size()));
        if (samples_->values[t].size() < longest)
            AddRun(runs, false, static_cast<int64_t>(longest - samples_->values[t].size()));
        validRuns[t] = RunList(std::move(runs));
        traces[t].traceLabel = samples_->labels[t];
        traces[t].traceUnits = samples_->units[t];
        traces[t].traceAutoscale = 1;
    }
    fileComment = comment_;
    UpdateGapFlags();
}

void CPicoMatDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    for (const StoredRead& piece : pieces)
        std::copy_n(samples_->values[static_cast<size_t>(piece.trace)].begin() + storedIndex,
                    piece.values.size(), piece.values.begin());
}

Reopening CPicoMatDoc::ToReopen() const {
    Reopening again = CDataDoc::ToReopen();
    std::string names;
    for (const std::string& name : variables_) names += (names.empty() ? "" : ",") + name;
    again.settings[variablesKey] = names;
    again.settings[intervalKey] = fmt::format("{}", interval_);
    again.twin = [samples = samples_, path = filePath, interval = interval_](Session& session) {
        auto twin = std::make_unique<CPicoMatDoc>(session);
        twin->filePath = path;
        twin->samples_ = samples;
        twin->interval_ = interval;
        twin->FillModel();
        twin->AllocateBuffers();
        return twin;
    };
    return again;
}

}  // namespace kymora
