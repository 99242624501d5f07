#include "exchange/new_sparse.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/new_file.h"
#include "exchange/read_data_form.h"
#include "exchange/sparse_samples.h"
#include "host/form.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr uint32_t sparseVersion = 2;
constexpr const char* sparseComment = "Sparse data from clipboard.\r\n";
constexpr const char* sparseHistory = "File: New: From clipboard: Sparse data\r\n\tGap fill: ";
constexpr const char* intervalTip =
    "The time from one sample of the new recording to the next; each point becomes the sample nearest to its "
    "time";

double SixDigits(double value) { return ReadNumber(fmt::format("{:.6g}", value)).value_or(value); }

// A number with six digits that is not above, or not below, what it stands for: a suggestion that holds.
double SixDigits(double value, bool downward) {
    const double digit = std::pow(10.0, std::floor(std::log10(value)) - 5.0);
    const double nearest = SixDigits(value);
    if (downward ? nearest <= value : nearest >= value) return nearest;
    return downward ? nearest - digit : nearest + digit;
}

bool IsTooLong(const SparsePoints& points, double factor, double interval) {
    return SparsePosition(points.times.back() * factor, interval) >= longestRecording;
}

// The largest interval, in six digits, at which each point has a sample of its own for sure.
double SeparatingInterval(const SparsePoints& points, double factor) {
    const double step = points.smallestStep * factor;
    // Steps of 0.1 come as 0.09999999999999998 out of a subtraction.
    const double nearest = SixDigits(step);
    const bool holds = !IsTooLong(points, factor, nearest) && FirstCollision(points, factor, nearest) < 0;
    return holds ? nearest : SixDigits(step, true);
}

// The least interval, in six digits, at which the recording is not too long for sure.
double LeastInterval(const SparsePoints& points, double factor) {
    return SixDigits(points.times.back() * factor / static_cast<double>(longestRecording - 1), false);
}

// What the dialog offers: an interval that separates the points, unless the recording would be too long.
double OfferedInterval(const SparsePoints& points, double factor) {
    double interval = SeparatingInterval(points, factor);
    if (interval < leastPastedInterval || IsTooLong(points, factor, interval))
        interval = std::max(interval, LeastInterval(points, factor));
    return std::clamp(interval, leastPastedInterval, greatestPastedInterval);
}

}  // namespace

double SparseSettings::TimeFactor() const { return SparseTimeFactor(timeUnit); }

std::string SparseFault(const SparsePoints& points, const SparseSettings& settings) {
    const double factor = settings.TimeFactor(), interval = settings.sampleInterval;
    if (IsTooLong(points, factor, interval))
        return fmt::format(
            "The last time, {:.9g} ms, lies beyond the {} samples that a recording can have. A sample "
            "interval "
            "of {:.6g} ms or more would do.",
            points.times.back() * factor, longestRecording, LeastInterval(points, factor));
    const int64_t second = FirstCollision(points, factor, interval);
    if (second < 0) return CurveFault(points, points.times.size(), settings.fill);
    const auto at = [&](int64_t i) { return points.times[static_cast<size_t>(i)] * factor; };
    return fmt::format("The times at rows {} and {} ({:.9g} and {:.9g} ms) fall on the same sample. A sample "
                       "interval of {:.6g} "
                       "ms or less keeps all points apart.",
                       points.firstRow + second - 1, points.firstRow + second, at(second - 1), at(second),
                       SeparatingInterval(points, factor));
}

PastedRecording MakeSparse(SparsePoints&& points, const SparseSettings& settings) {
    PastedRecording recording;
    const double interval = settings.sampleInterval;
    std::vector<double> times = points.TimesMs(settings.TimeFactor());
    const int64_t length = SparsePosition(times.back(), interval) + 1;
    recording.sampleInterval = interval;
    recording.labels = std::move(points.labels);
    recording.comment = sparseComment;
    recording.history = sparseHistory + FillReport(settings.fill, "\t\t");
    if (!settings.fill.IsCurve()) {
        recording.runs = SparseSamples(std::move(times), {}, interval, length, {}).Runs();
    } else {
        const auto samplesOf = [times = std::move(times), interval, length,
                                fill = settings.fill](std::vector<float> values) {
            return SparseSamples(times, std::move(values), interval, length, fill);
        };
        recording.runs = samplesOf(points.Values(0)).Runs();
        recording.make = [samplesOf](const SampleBlocks& columns, int trace,
                                     const PastedRecording::Take& take) {
            std::vector<float> values(static_cast<size_t>(columns.Rows()));
            columns.Read(trace, 0, values);
            samplesOf(std::move(values)).ForBlocks(take);
        };
    }
    recording.samples = std::move(points.values);
    return recording;
}

// --- the dialog ---

CFilePasteNewSparse::CFilePasteNewSparse(const SparsePoints& points, int32_t timeUnit)
    : points_(points), shownUnit_(timeUnit) {
    form_.AddNote("points",
                  fmt::format("{} in {} trace{}", points.times.size(), points.values.Columns(),
                              points.values.Columns() == 1 ? "" : "s"),
                  "Points");
    form_.AddChoice("timeUnit", "Unit of the times", SparseTimeUnits(), timeUnit, sparseTimeTip);
    const double factor = SparseSettings{timeUnit}.TimeFactor();
    form_.AddNumber("sampleInterval", "Sample interval (ms)", OfferedInterval(points, factor), intervalTip)
        .Limits(leastPastedInterval, greatestPastedInterval);
    form_.AddChoice("fill", "Fill between points", FillWords(), 0, fillTip);
    form_.AddFlag("extrapolate", extrapolateLabel, false, extrapolateTip).EnabledIf([](const Form& form) {
        return form.Choice("fill") != 0;
    });
    form_.AddNote("step", "", "Smallest step between points");
    form_.AddNote("samples", "", "Length of the recording");
    form_.onChange = [this](Form&) { Follow(); };
    form_.validate = [this](const Form&) { return SparseFault(points_, Settings()); };
    Follow();
}

void CFilePasteNewSparse::Follow() {
    const double before = SparseSettings{shownUnit_}.TimeFactor();
    const SparseSettings settings = Settings();
    const double factor = settings.TimeFactor();
    // An interval that was offered for another unit follows; one that the user has set stays.
    if (settings.timeUnit != shownUnit_ && settings.sampleInterval == OfferedInterval(points_, before))
        form_["sampleInterval"].number = OfferedInterval(points_, factor);
    shownUnit_ = settings.timeUnit;
    const double interval = form_.Number("sampleInterval");
    form_["step"].text = fmt::format("{:.6g} ms", points_.smallestStep * factor);
    const int64_t samples = interval > 0.0 ? SparsePosition(points_.times.back() * factor, interval) + 1 : 0;
    form_["samples"].text = fmt::format("{:.10g} samples", static_cast<double>(samples));
}

SparseSettings CFilePasteNewSparse::Settings() const {
    return {form_.Choice("timeUnit"),
            form_.Number("sampleInterval"),
            {form_.Choice("fill"), form_.Flag("extrapolate")}};
}

bool CFilePasteNewSparse::Ask(Host& host) { return host.AskForm(form_); }

// --- the command ---

namespace {

int32_t LastTimeUnit(const Session& session, CPasteSparseData& last) {
    const auto kept = session.operationSettings.find(last.ClassName());
    if (kept == session.operationSettings.end()) return 0;
    try {
        last.TakeSettings(kept->second);
    } catch (const ArchiveError&) {  // milliseconds do as well
        return 0;
    }
    return std::clamp(last.m_Settings.timeUnit, 0, 2);
}

}  // namespace

std::optional<std::filesystem::path> PasteSparseData(Session& session, std::span<CDataDoc* const> open) {
    std::string clipboard;
    try {
        clipboard = session.host.ReadClipboardText();
    } catch (const ClipboardError&) {
        session.host.Failure(noClipboardText);
        return {};
    }
    TextReader text{std::string_view(clipboard)};
    auto points = AskSparsePoints(session, text);
    if (!points) return {};
    CPasteSparseData settings;
    CFilePasteNewSparse dialog(*points, LastTimeUnit(session, settings));
    if (!dialog.Ask(session.host)) return {};
    settings.m_Settings = dialog.Settings();
    session.operationSettings[settings.ClassName()] = settings.Settings();
    const auto path = AskNewFileName(session, "New file name", open);
    if (!path) return {};
    const PastedRecording recording = MakeSparse(std::move(*points), settings.m_Settings);
    return WriteNewFile(session, *path, [&] { WritePasted(session, recording, *path); });
}

// --- the operation of the terminal ---

void CPasteSparseData::Describe(ParamList& list) {
    DescribeFile(list, "A text file with the times and values, in the place of the clipboard");
    list.Choice("timeUnit", "Unit of the times", m_Settings.timeUnit, SparseTimeUnits()).Tip(sparseTimeTip);
    list.Number("sampleInterval", "Sample interval (ms)", m_Settings.sampleInterval)
        .Unit("ms")
        .Limits(leastPastedInterval, greatestPastedInterval)
        .Tip(intervalTip);
    list.Choice("fill", "Fill between points", m_Settings.fill.kind, FillWords()).Tip(fillTip);
    list.Flag("extrapolate", extrapolateLabel, m_Settings.fill.extrapolates)
        .Tip(extrapolateTip)
        .EnabledIf([this] { return m_Settings.fill.IsCurve(); });
}

void CPasteSparseData::Serialize(CArchive& archive) {
    CNewRecordingDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, sparseVersion, ClassName());
    Exchange(archive, m_Settings.timeUnit);
    Exchange(archive, m_Settings.sampleInterval);
    Exchange(archive, m_Settings.fill.kind);
    if (version > 1)
        Exchange(archive, m_Settings.fill.extrapolates);
    else
        m_Settings.fill.extrapolates = false;
}

void CPasteSparseData::GetParamText(std::string& text) {
    text += fmt::format("Unit of the times: {}\r\nSample interval: {:.9g} ms\r\nFill between points: {}",
                        SparseTimeUnits()[static_cast<size_t>(std::clamp(m_Settings.timeUnit, 0, 2))],
                        m_Settings.sampleInterval, FillReport(m_Settings.fill, "\t\t"));
}

bool CPasteSparseData::WriteRecording(Session& session, const std::filesystem::path& out) {
    return WriteFromFile(session, [&](const DataFile& file) {
        if (BeginsAsNativeFile(file)) {
            session.host.Failure(noClipboardText);
            return false;
        }
        TextReader text(file);
        auto points = AskSparsePoints(session, text);
        if (!points) return false;
        if (const std::string fault = SparseFault(*points, m_Settings); !fault.empty()) {
            session.host.Failure(fault);
            return false;
        }
        const PastedRecording recording = MakeSparse(std::move(*points), m_Settings);
        return WriteNewFile(session, out, [&] { WritePasted(session, recording, out); }).has_value();
    });
}

}  // namespace kymora
