#include "import/pico_mat_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <set>

#include "archive/text_encoding.h"
#include "host/form.h"
#include "import/even_steps.h"
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

// "a.b." of "a.b.values": what stands there is said of it.
std::string ScopeOf(const std::string& name) { return name.substr(0, name.rfind('.') + 1); }

bool IsTimes(const MatArray& array) {
    const std::string name = LastPart(array.name);
    return TracesOf(array) == 1 && (name == "t" || name == "time" || name == "times");
}

// Of a number that goes by a usual name; NaN of any other.
double MillisecondsOf(const std::string& name, double number) {
    const std::string part = LastPart(name);
    double ms = std::numeric_limits<double>::quiet_NaN();
    if (part == "tinterval" || part == "interval" || part == "dt" || part == "sampleinterval")
        ms = number * 1e3;
    if (part == "fs" || part == "srate" || part == "samplerate" || part == "samplingrate") ms = 1e3 / number;
    return ms >= leastMatInterval && ms <= greatestMatInterval ? ms
                                                               : std::numeric_limits<double>::quiet_NaN();
}

bool AreAlike(double a, double b) { return std::fabs(a - b) <= 1e-6 * std::max(a, b); }

// The sample interval of each variable: the number, or the evenly spaced times, that stand beside it or
// further out.
class MatIntervals {
  public:
    explicit MatIntervals(MatFile& file) : file_(file) {
        for (const auto& [name, number] : file.Contents().numbers)
            if (const double ms = MillisecondsOf(name, number); ms > 0.0)
                told_.try_emplace(ScopeOf(name), ms);
        std::set<std::string> holding;
        for (const MatArray& array : file.Contents().arrays) {
            holding.insert(ScopeOf(array.name));
            if (IsTimes(array)) times_[ScopeOf(array.name)].push_back(&array);
        }
        for (const auto& [scope, ms] : told_) {
            if (holding.contains(scope)) continue;
            if (elsewhere_ && !AreAlike(*elsewhere_, ms)) isAmbiguous_ = true;
            elsewhere_ = ms;
        }
    }

    // Milliseconds.
    std::optional<double> Of(const MatArray& array) {
        for (std::string scope = ScopeOf(array.name);; scope = ScopeOf(scope.substr(0, scope.size() - 1))) {
            if (const auto told = told_.find(scope); told != told_.end()) return told->second;
            if (const auto step = StepOf(scope, LengthOf(array))) return step;
            if (scope.empty()) break;
        }
        // One that a structure without samples of its own tells.
        return isAmbiguous_ ? std::nullopt : elsewhere_;
    }

    // The one of some variables; nothing where none is told.
    std::optional<double> OfAll(const std::vector<const MatArray*>& arrays) {
        for (const MatArray* array : arrays)
            if (const auto own = Of(*array)) return own;
        return {};
    }

    // Why variables cannot be shown together; empty where they can.
    std::string FaultOf(const std::vector<const MatArray*>& arrays) {
        const MatArray* first = nullptr;
        for (const MatArray* array : arrays) {
            const auto own = Of(*array);
            if (!own) continue;
            if (!first) first = array;
            if (const double other = *Of(*first); !AreAlike(*own, other))
                return fmt::format(
                    "{} has a sample interval of {:.9g} ms and {} of {:.9g} ms: they cannot be "
                    "shown together. Choose variables of one interval.",
                    first->name, other, array->name, *own);
        }
        return {};
    }

  private:
    std::optional<double> StepOf(const std::string& scope, size_t length) {
        const auto found = times_.find(scope);
        if (found == times_.end()) return {};
        for (const MatArray* times : found->second) {
            if (LengthOf(*times) != length) continue;
            const auto known = steps_.find(times);
            if (known != steps_.end()) return known->second;
            const std::vector<double> values = file_.Doubles(*times);
            EvenSteps steps(values.front(), values.back(), static_cast<int64_t>(values.size()),
                            times->IsSingle() ? 1.2e-7 : 2.3e-16);
            const bool isUsed = steps.Step() * 1e3 >= leastMatInterval && steps.Take(values);
            return steps_[times] = isUsed ? std::optional(steps.Step() * 1e3) : std::nullopt;
        }
        return {};
    }

    MatFile& file_;
    std::map<std::string, double> told_;  // of scopes
    std::map<std::string, std::vector<const MatArray*>> times_;
    std::map<const MatArray*, std::optional<double>> steps_;
    std::optional<double> elsewhere_;
    bool isAmbiguous_ = false;
};

// What is as long as the longest, but for times, and has its interval.
std::vector<const MatArray*> UsualVariables(const MatContents& contents, MatIntervals& intervals) {
    size_t longest = 0;
    for (const MatArray& array : contents.arrays)
        if (!IsTimes(array)) longest = std::max(longest, LengthOf(array));
    std::vector<const MatArray*> usual;
    std::optional<double> interval;
    for (const MatArray& array : contents.arrays) {
        if (IsTimes(array) || LengthOf(array) != longest) continue;
        const auto own = intervals.Of(array);
        if (own && interval && !AreAlike(*own, *interval)) continue;
        if (!interval) interval = own;
        usual.push_back(&array);
    }
    return usual;
}

std::string TextOfField(const MatContents& contents, const std::string& array, const char* field) {
    const auto text = contents.texts.find(ScopeOf(array) + field);
    return text == contents.texts.end() ? std::string() : text->second;
}

std::string SettingName(const std::string& name) {
    return name.find(',') == std::string::npos ? name : "\"" + name + "\"";
}

// Separated by commas but for those in quotation marks, which are taken away.
std::vector<std::string> SplitNames(const std::string& setting) {
    std::vector<std::string> names;
    for (size_t at = 0; at <= setting.size();) {
        const size_t quote = setting[at] == '"' ? setting.find('"', at + 1) : std::string::npos;
        if (quote != std::string::npos) {
            names.push_back(setting.substr(at + 1, quote - at - 1));
            at = std::min(setting.find(',', quote), setting.size()) + 1;
        } else {
            const size_t comma = std::min(setting.find(',', at), setting.size());
            names.push_back(setting.substr(at, comma - at));
            at = comma + 1;
        }
    }
    return names;
}

std::vector<const MatArray*> ParseNames(const std::string& setting, const MatContents& contents) {
    constexpr size_t mostNamed = 20, mostNameBytes = 60;
    std::vector<const MatArray*> found;
    for (const std::string& name : SplitNames(setting)) {
        const auto array = std::find_if(contents.arrays.begin(), contents.arrays.end(),
                                        [&](const MatArray& a) { return a.name == name; });
        if (array == contents.arrays.end()) {
            std::string all;
            for (size_t i = 0; i < std::min(contents.arrays.size(), mostNamed); ++i)
                all += (i == 0 ? "" : ", ") + SettingName(contents.arrays[i].name).substr(0, mostNameBytes);
            throw ImportSettingError(variablesKey, setting, "names of the file's variables: " + all);
        }
        if (std::find(found.begin(), found.end(), &*array) == found.end()) found.push_back(&*array);
    }
    return found;
}

// Of each trace that it can become; `first` is the number of those of the variables before it.
std::vector<TraceSignal> SignalsOf(const MatArray& array, size_t first) {
    std::vector<TraceSignal> signals;
    const size_t count = std::min<size_t>(TracesOf(array), maxTraces + 1);
    for (size_t t = 0; t < count; ++t)
        signals.push_back({static_cast<int32_t>(first + t),
                           count > 1 ? fmt::format("{} {}", array.name, t + 1) : array.name});
    return signals;
}

size_t PlaceOf(const MatContents& contents, const MatArray* array) {
    return static_cast<size_t>(array - contents.arrays.data()) * (maxTraces + 1);
}

}  // namespace

void CPicoMatDoc::Load() {
    RememberStamp(filePath);
    const std::unique_ptr<DataFile> opened = OpenReadOnly();
    MatFile file(*opened);
    const MatContents& contents = file.Contents();
    if (contents.arrays.empty())
        throw OpenError("This MATLAB file holds no vectors or matrices of real numbers.");
    sideCar_.Open(*this);
    ResetModel();
    Choose(file);
    TakeTraces(file);
    if (!contents.passedOver.empty())
        GetHost().Log(fmt::format("MATLAB file: passed over {}\n", contents.passedOver));
    if (!isTold_)
        Tell(fmt::format(
            "{} does not tell its sample interval; 1 ms is used. The command line takes another one, "
            "with --import sampleInterval=MS.",
            filePath.filename().string()));
    if (contents.isCutOff)
        Tell(fmt::format("{} is cut off: its last variable is not whole and left out.",
                         filePath.filename().string()));
    FillModel();
    const SideCarResult sideCar = ReadOwnSideCar();
    if (sideCar == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (sideCar == SideCarResult::read) ScaleUnknownTraces(*this);
}

// The variables that the side-car was made with.
std::vector<const MatArray*> CPicoMatDoc::Remembered(const MatFile& file, const SideCarTraces& stored) const {
    std::vector<const MatArray*> found;
    if (!stored.areTold) return found;
    const MatContents& contents = file.Contents();
    for (const MatArray& array : contents.arrays) {
        const auto signals = SignalsOf(array, PlaceOf(contents, &array));
        const auto isKnown = [&](const TraceSignal& s) { return FindSignals({&s, 1}, signals)[0] >= 0; };
        if (std::any_of(stored.sources.begin(), stored.sources.end(), isKnown)) found.push_back(&array);
    }
    return found;
}

void CPicoMatDoc::Choose(MatFile& file) {
    const MatContents& contents = file.Contents();
    const std::string* names = CurrentOpening().Setting(variablesKey);
    const std::string* stated = CurrentOpening().Setting(intervalKey);
    MatIntervals intervals(file);
    variables_ = names ? ParseNames(*names, contents) : Remembered(file, sideCar_.Traces());
    const std::string fault = stated ? std::string() : intervals.FaultOf(variables_);
    if (names && !fault.empty()) throw ImportSettingError(variablesKey, fault);
    if (variables_.empty() || !fault.empty()) variables_ = UsualVariables(contents, intervals);
    if (variables_.empty() && !GetOpening().Asks())
        throw OpenError("This MATLAB file holds times only, and no samples.");
    const std::optional<double> told = stated ? std::nullopt : intervals.OfAll(variables_);
    interval_ = told.value_or(1.0);
    if (stated) {
        const auto [end, error] = std::from_chars(stated->data(), stated->data() + stated->size(), interval_);
        if (error != std::errc() || end != stated->data() + stated->size() ||
            !(interval_ >= leastMatInterval && interval_ <= greatestMatInterval))
            throw ImportSettingError(intervalKey, *stated, "milliseconds from 1e-9 to 1e10");
    }
    const bool isSettled = names && stated;
    if (GetOpening().Asks() && !isSettled && !Ask(file, names != nullptr, stated != nullptr))
        throw OpenDeclined();
    isTold_ = stated || told || GetOpening().Asks();
}

bool CPicoMatDoc::Ask(MatFile& file, bool areNamed, bool isTimed) {
    const MatContents& contents = file.Contents();
    MatIntervals intervals(file);
    Form form("MATLAB File Properties");
    std::vector<std::string> rows;
    std::vector<uint8_t> checks;
    for (const MatArray& array : contents.arrays) {
        rows.push_back(fmt::format("{}  {} x {}", array.name, array.rows, array.columns));
        checks.push_back(std::find(variables_.begin(), variables_.end(), &array) != variables_.end());
    }
    const auto unless = [](bool given) {
        return given ? [](const Form&) { return false; } : std::function<bool(const Form&)>();
    };
    const auto checked = [&contents](const Form& asked) {
        std::vector<const MatArray*> found;
        for (size_t i = 0; i < contents.arrays.size(); ++i)
            if (asked[variablesKey].checks[i] != 0) found.push_back(&contents.arrays[i]);
        return found;
    };
    Field& list =
        form.AddCheckList(variablesKey, "Variables to show as traces", std::move(rows), checks,
                          "The longer side of a matrix is time; each row of its shorter side is a trace.");
    list.Search();
    list.enabled = unless(areNamed);
    form.AddNumber(intervalKey, "Sample interval (ms)", interval_,
                   "Time from one sample of a trace to its next.")
        .Limits(leastMatInterval, greatestMatInterval)
        .EnabledIf(unless(isTimed));
    // The interval follows the variables; what is typed then stands.
    form.onChange = [&, isTimed, last = checks](Form& asked) mutable {
        if (isTimed || asked[variablesKey].checks == last) return;
        last = asked[variablesKey].checks;
        if (const auto told = intervals.OfAll(checked(asked))) asked[intervalKey].number = *told;
    };
    form.validate = [&, isTimed](const Form& asked) -> std::string {
        const auto chosen = checked(asked);
        if (chosen.empty()) return "You need at least 1 data trace selected.";
        return isTimed ? std::string() : intervals.FaultOf(chosen);
    };
    if (!GetHost().AskForm(form)) return false;
    interval_ = form.Number(intervalKey);
    variables_ = checked(form);
    return true;
}

void CPicoMatDoc::TakeTraces(MatFile& file) {
    const MatContents& contents = file.Contents();
    auto made = std::make_shared<Traces>();
    names_.clear();
    size_t traces = 0;
    for (const MatArray* array : variables_) {
        traces += TracesOf(*array);
        if (traces > maxTraces)
            throw OpenError(
                "There are more than 128 data channels in the chosen variables. Kymora can only handle 128");
        if (LengthOf(*array) > static_cast<size_t>(longestRecording)) throw OpenError(tooLongText);
    }
    file.CheckExpansion(variables_);
    for (const MatArray* array : variables_) {
        const size_t count = TracesOf(*array), length = LengthOf(*array);
        const bool isAcross = array->columns > array->rows;  // time runs along rows
        names_.push_back(array->name);
        // At the outermost level a title is that of the only one.
        const bool isTitled = !ScopeOf(array->name).empty() || variables_.size() == 1;
        std::string label = isTitled ? TextOfField(contents, array->name, "title") : std::string();
        if (label.empty() && isTitled) label = TextOfField(contents, array->name, "label");
        if (label.empty()) label = LastPart(array->name) == "values" ? PartsBefore(array->name) : array->name;
        std::vector<float> all = file.Floats(*array);
        for (const TraceSignal& signal : SignalsOf(*array, PlaceOf(contents, array)))
            made->signals.push_back(signal);
        for (size_t t = 0; t < count; ++t) {
            made->labels.push_back(count > 1 ? fmt::format("{} {}", label, t + 1) : label);
            made->units.push_back(TextOfField(contents, array->name, "units"));
            if (count == 1) {
                made->values.push_back(std::move(all));
                break;
            }
            auto& values = made->values.emplace_back(length);
            for (size_t i = 0; i < length; ++i)
                values[i] = isAcross ? all[i * array->rows + t] : all[t * array->rows + i];
        }
    }
    variables_.clear();
    samples_ = std::move(made);
    comment_.clear();
    for (const auto& [name, text] : contents.texts)
        if (comment_.size() < 10000 && !text.empty()) comment_ += fmt::format("{}: {}\r\n", name, text);
}

// Variables that have none of its signals may have another interval: what it holds is not theirs.
SideCarResult CPicoMatDoc::ReadOwnSideCar() {
    const SideCarTraces& stored = sideCar_.Traces();
    const auto isShown = [&](const TraceSignal& s) { return FindSignals({&s, 1}, traceSignals)[0] >= 0; };
    const bool isOther =
        stored.areTold && std::none_of(stored.sources.begin(), stored.sources.end(), isShown);
    return sideCar_.Read(*this, isOther ? "the side-car belongs to other variables of it" : "");
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
    traceSignals = samples_->signals;
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
    for (const std::string& name : names_) names += (names.empty() ? "" : ",") + SettingName(name);
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
