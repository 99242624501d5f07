#include "exchange/new_sparse.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/new_file.h"
#include "exchange/read_data_form.h"
#include "host/form.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr uint32_t sparseVersion = 1;
constexpr const char* sparseComment = "Sparse data from clipboard.\r\n";
constexpr const char* sparseHistory = "File: New: From clipboard: Sparse data\r\n\tGap fill: ";
constexpr const char* fillHistory[] = {"Inactive gap\r\n"};
constexpr const char* noTextText = "Unable to read text from clipboard.";
constexpr const char* unitNames[] = {"ms", "s", "min"};
constexpr const char* timeUnitTip = "The unit of the times in the first column";
constexpr const char* intervalTip =
    "The time from one sample of the new recording to the next; each point becomes the sample nearest to its "
    "time";
constexpr const char* fillTip = "What the new recording holds between the points";

std::vector<std::string> UnitNames() { return {std::begin(unitNames), std::end(unitNames)}; }
std::vector<std::string> FillNames() { return {"Inactive gap"}; }

double SixDigits(double value) { return ReadNumber(fmt::format("{:.6g}", value)).value_or(value); }

// A number with six digits that is not above, or not below, what it stands for: a suggestion that holds.
double SixDigits(double value, bool downward) {
    const double digit = std::pow(10.0, std::floor(std::log10(value)) - 5.0);
    const double nearest = SixDigits(value);
    if (downward ? nearest <= value : nearest >= value) return nearest;
    return downward ? nearest - digit : nearest + digit;
}

int64_t PositionAt(double time, double factor, double interval) {
    return static_cast<int64_t>(std::round(time * factor / interval));
}

bool IsTooLong(const SparsePoints& points, double factor, double interval) {
    return !(std::round(points.times.back() * factor / interval) < static_cast<double>(longestRecording));
}

// The first point, counted from 0, that falls on the sample of the one before it; -1 for none.
int64_t FirstCollision(const SparsePoints& points, double factor, double interval) {
    int64_t before = -1, index = 0;
    for (const double time : points.times) {
        const int64_t position = PositionAt(time, factor, interval);
        if (position == before) return index;
        before = position;
        ++index;
    }
    return -1;
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

RunList RunsOf(const SparsePoints& points, double factor, double interval) {
    std::vector<uint32_t> runs{0};
    int64_t next = 0;  // behind the last point
    for (const double time : points.times) {
        const int64_t position = PositionAt(time, factor, interval);
        if (position > next) {
            runs.push_back(static_cast<uint32_t>(position - next));
            runs.push_back(0);
        }
        ++runs.back();
        next = position + 1;
    }
    return RunList(std::move(runs));
}

}  // namespace

double SparseSettings::TimeFactor() const { return timeUnit == 0 ? 1.0 : timeUnit == 1 ? 1000.0 : 60000.0; }

std::string SparseFault(const SparsePoints& points, const SparseSettings& settings) {
    const double factor = settings.TimeFactor(), interval = settings.sampleInterval;
    if (IsTooLong(points, factor, interval))
        return fmt::format(
            "The last time, {:.9g} ms, lies beyond the {} samples that a recording can have. A sample "
            "interval "
            "of {:.6g} ms or more would do.",
            points.times.back() * factor, longestRecording, LeastInterval(points, factor));
    const int64_t second = FirstCollision(points, factor, interval);
    if (second < 0) return {};
    const auto at = [&](int64_t i) { return points.times[static_cast<size_t>(i)] * factor; };
    return fmt::format("The times at rows {} and {} ({:.9g} and {:.9g} ms) fall on the same sample. A sample "
                       "interval of {:.6g} "
                       "ms or less keeps all points apart.",
                       points.firstRow + second - 1, points.firstRow + second, at(second - 1), at(second),
                       SeparatingInterval(points, factor));
}

PastedRecording MakeSparse(SparsePoints&& points, const SparseSettings& settings) {
    PastedRecording recording;
    recording.sampleInterval = settings.sampleInterval;
    recording.runs = RunsOf(points, settings.TimeFactor(), settings.sampleInterval);
    recording.labels = std::move(points.labels);
    recording.samples = std::move(points.values);
    recording.comment = sparseComment;
    recording.history = std::string(sparseHistory) + fillHistory[settings.fill];
    return recording;
}

// --- the dialog ---

CFilePasteNewSparse::CFilePasteNewSparse(const SparsePoints& points, int32_t timeUnit)
    : points_(points), shownUnit_(timeUnit) {
    form_.AddNote("points",
                  fmt::format("{} in {} trace{}", points.times.size(), points.values.Columns(),
                              points.values.Columns() == 1 ? "" : "s"),
                  "Points");
    form_.AddChoice("timeUnit", "Unit of the times", UnitNames(), timeUnit, timeUnitTip);
    const double factor = SparseSettings{timeUnit}.TimeFactor();
    form_.AddNumber("sampleInterval", "Sample interval (ms)", OfferedInterval(points, factor), intervalTip)
        .Limits(leastPastedInterval, greatestPastedInterval);
    form_.AddChoice("fill", "Fill between points", FillNames(), 0, fillTip);
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
    const double samples = interval > 0.0 ? std::round(points_.times.back() * factor / interval) + 1.0 : 0.0;
    form_["samples"].text = fmt::format("{:.10g} samples", samples);
}

SparseSettings CFilePasteNewSparse::Settings() const {
    return {form_.Choice("timeUnit"), form_.Number("sampleInterval"), form_.Choice("fill")};
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

// The points of a text; nothing when there are none, which the user knows.
std::optional<SparsePoints> ReadPoints(Session& session, TextReader& text) {
    const TableOutline outline = Outline(text);
    const auto table = AskTableFormat(session, outline.first);
    if (!table) return {};
    std::optional<SparsePoints> points;
    ReadTelling(session, [&] { points = ReadSparse(session, text, *table); });
    return points;
}

}  // namespace

std::optional<std::filesystem::path> PasteSparseData(Session& session, std::span<CDataDoc* const> open) {
    std::string clipboard;
    try {
        clipboard = session.host.ReadClipboardText();
    } catch (const ClipboardError&) {
        session.host.Failure(noTextText);
        return {};
    }
    TextReader text{std::string_view(clipboard)};
    auto points = ReadPoints(session, text);
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
    list.Choice("timeUnit", "Unit of the times", m_Settings.timeUnit, UnitNames()).Tip(timeUnitTip);
    list.Number("sampleInterval", "Sample interval (ms)", m_Settings.sampleInterval)
        .Unit("ms")
        .Limits(leastPastedInterval, greatestPastedInterval)
        .Tip(intervalTip);
    list.Choice("fill", "Fill between points", m_Settings.fill, FillNames()).Tip(fillTip);
}

void CPasteSparseData::Serialize(CArchive& archive) {
    CNewRecordingDlg::Serialize(archive);
    ExchangeVersion(archive, sparseVersion, ClassName());
    Exchange(archive, m_Settings.timeUnit);
    Exchange(archive, m_Settings.sampleInterval);
    Exchange(archive, m_Settings.fill);
}

void CPasteSparseData::GetParamText(std::string& text) {
    text += fmt::format("Unit of the times: {}\r\nSample interval: {:.9g} ms\r\nFill between points: {}\r\n",
                        unitNames[std::clamp(m_Settings.timeUnit, 0, 2)], m_Settings.sampleInterval,
                        FillNames()[0]);
}

bool CPasteSparseData::WriteRecording(Session& session, const std::filesystem::path& out) {
    return WriteFromFile(session, [&](const DataFile& file) {
        if (BeginsAsNativeFile(file)) {
            session.host.Failure(noTextText);
            return false;
        }
        TextReader text(file);
        auto points = ReadPoints(session, text);
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
