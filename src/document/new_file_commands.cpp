// The dialogs of the commands that make files.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "document/native_writer.h"
#include "document/new_file.h"
#include "document/save_journal.h"
#include "host/file_names.h"
#include "host/form.h"
#include "host/open_fault.h"
#include "host/user_numbers.h"
#include "numerics/expression.h"

namespace kymora {

namespace {

constexpr const char* nativeFilter = "Kymora (*.kymr-dat)|*.kymr-dat||";
constexpr const char* saveAsFilter =
    "Kymora (*.kymr-dat)|*.kymr-dat|text (*.txt)|*.txt|EDF+ (*.edf)|*.edf|BDF+ (*.bdf)|*.bdf|"
    "wave audio (*.wav)|*.wav|NWB (*.nwb)|*.nwb|MATLAB (*.mat)|*.mat||";
constexpr const char* saveRecordingAsFilter =
    "Kymora (*.kymr-dat)|*.kymr-dat|text (*.txt)|*.txt|EDF+ (*.edf)|*.edf|BDF+ (*.bdf)|*.bdf|"
    "wave audio (*.wav)|*.wav|NWB (*.nwb)|*.nwb|MATLAB (*.mat)|*.mat|what is visible, as Kymora recording "
    "(*.kymr-rec)|*.kymr-rec||";
constexpr const char* legacyFilter = "Kymora (*.flt)|*.flt||";
constexpr double leastInterval = 1e-7, greatestInterval = 1e7;  // ms
constexpr double leastSamples = 10.0;
constexpr int shownNameLength = 120;

bool IsOpen(Session& session, std::span<CDataDoc* const> open, const std::filesystem::path& path) {
    return std::any_of(open.begin(), open.end(),
                       [&](const CDataDoc* doc) { return IsSameFile(session.files, doc->filePath, path); });
}

// Adds the extension unless the name has it. A name that the user did not see in the dialog may be taken.
std::optional<std::filesystem::path> AskName(Session& session, const FileRequest& request,
                                             std::span<CDataDoc* const> open,
                                             std::initializer_list<std::string_view> others = {}) {
    const auto chosen = session.host.ChooseSaveFile(request);
    if (!chosen) return {};
    const std::string extension = "." + request.defaultExtension;
    std::filesystem::path path = *chosen;
    const std::string given = FoldedExtension(path);
    const bool isOther = std::find(others.begin(), others.end(), given) != others.end();
    if (given != extension && (given.empty() || !isOther)) path += extension;
    if (IsOpen(session, open, path)) {
        session.host.Message("The file " + path.string() + " is open. Choose another name.");
        return {};
    }
    if (path != *chosen && session.files.Stamp(path) &&
        !session.host.Confirm("The file " + path.string() + " exists. Replace it?"))
        return {};
    return path;
}

// --- from an equation ---

UserDefinedSettings SettingsFrom(const Form& form) {
    UserDefinedSettings settings;
    settings.sampleInterval = form.Number("sampleInterval");
    settings.samples = form.Integer("samples");
    settings.equation = form.Text("equation");
    settings.comment = form.Text("comment");
    settings.dummyData = form.Flag("dummyData");
    return settings;
}

// The value for the first samples, for the user to see that the equation says what was meant.
std::string TrialText(Session& session, const UserDefinedSettings& settings) {
    if (std::string fault = CheckUserDefined(session, settings); !fault.empty()) return fault;
    std::mt19937 trial = session.random;
    double t = 0.0;
    Expression expression(trial);
    BindTime(expression, t);
    expression.Parse(settings.equation);
    const auto shown = [&] {
        const double value = expression.Evaluate();
        return std::isnan(value) ? "not a number" : fmt::format("{:.6g}", value);
    };
    std::string text = "At t = 0 ms: " + shown();
    t = settings.sampleInterval;
    text += fmt::format("; at t = {:.6g} ms: ", t) + shown();
    return text;
}

Form UserDefinedForm(Session& session) {
    const UserDefinedSettings defaults;
    Form form("New File");
    form.AddNumber("sampleInterval", "Sample interval (ms)", defaults.sampleInterval,
                   "The time from one sample to the next.")
        .Limits(leastInterval, greatestInterval);
    form.AddInteger("samples", "Number samples per trace", defaults.samples,
                    "The length of the new recording.")
        .Limits(leastSamples, static_cast<double>(longestRecording));
    const auto hasData = [](const Form& asked) { return !asked.Flag("dummyData"); };
    form.AddText(
            "equation", "Equation", defaults.equation,
            "The value of each sample, with t for the time in ms: for example 2 * sin(2 * _pi * t / 50) + "
            "rndn(0, 0.1).")
        .enabled = hasData;
    form.AddAction(
            "testCalc", "Test calc",
            [&session](Form& asked) { asked["result"].text = TrialText(session, SettingsFrom(asked)); },
            "Works the equation out for the first samples.")
        .enabled = hasData;
    form.AddNote("result", "", "Result");
    form.AddText("comment", "File comment", "", "Free text that is kept in the file.");
    form.AddFlag("dummyData", "Dummy data (event only file)", false,
                 "Create the file with a dummy data trace. Real traces can be added later if needed.");
    form.validate = [&session](const Form& asked) { return CheckUserDefined(session, SettingsFrom(asked)); };
    return form;
}

// --- from an average ---

std::string ShownName(const CDataDoc& doc) {
    std::string name = doc.filePath.filename().string();
    if (name.size() > shownNameLength) name.resize(shownNameLength);
    return fmt::format("{}  ({} traces, {} samples, {:.6g} ms)", name, doc.traceCount, doc.GetLength(),
                       doc.sampleInterval);
}

std::vector<CDataDoc*> CheckedFiles(const Form& form, std::span<CDataDoc* const> open) {
    std::vector<CDataDoc*> checked;
    const auto& checks = form["files"].checks;
    for (size_t i = 0; i < checks.size() && i < open.size(); ++i)
        if (checks[i] != 0) checked.push_back(open[i]);
    return checked;
}

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t") == std::string_view::npos; }

Form AverageForm(std::span<CDataDoc* const> open) {
    Form form("Average File and Trace Selection");
    std::vector<std::string> names;
    for (const CDataDoc* doc : open) names.push_back(ShownName(*doc));
    form.AddCheckList("files", "Select files containing traces to average (must be open in view)",
                      std::move(names), std::vector<uint8_t>(open.size(), 1),
                      "The first one that is checked says what the others have to be like.");
    form.AddText("traces", "Traces to process", "1", "Numbers and ranges, for example 1-3 5.");
    form.AddText("comment", "Comment for new file", "", "Free text that is kept in the file.");
    form.validate = [open](const Form& asked) -> std::string {
        const auto checked = CheckedFiles(asked, open);
        // Without a file or a trace nothing will be done, and there is nothing to find fault with.
        if (checked.empty() || IsBlank(asked.Text("traces"))) return {};
        try {
            ParseTraceList(asked.Text("traces"), checked.front()->traceCount);
            return {};
        } catch (const ListError& error) {
            return error.what();
        }
    };
    return form;
}

}  // namespace

std::optional<std::filesystem::path> AskNewFileName(Session& session, const std::string& title,
                                                    std::span<CDataDoc* const> open,
                                                    const std::filesystem::path& suggestion) {
    return AskName(session, {title, nativeFilter, "kymr-dat", suggestion}, open);
}

std::optional<std::filesystem::path> WriteNewFile(Session& session, const std::filesystem::path& path,
                                                  const std::function<void()>& write) {
    try {
        write();
        // An interrupted save of the file that stood here is none of the new one's concern.
        if (session.files.Stamp(JournalPath(session.files, path))) RetireJournal(session.files, path);
        return path;
    } catch (const Cancelled&) {
        return {};
    } catch (const std::exception& error) {
        session.host.Failure("The file was not written.\n" + std::string(error.what()));
        return {};
    }
}

std::optional<std::filesystem::path> AskSaveAsName(const CDataDoc& doc, std::span<CDataDoc* const> open) {
    const auto suggestion = NameInstead(doc.filePath, ".kymr-dat");
    if (doc.GetFileType() != typeRecording)
        return AskName(doc.GetSession(), {"Save As", saveAsFilter, "kymr-dat", suggestion}, open,
                       {".txt", ".edf", ".bdf", ".wav", ".nwb", ".mat"});
    return AskName(doc.GetSession(), {"Save As", saveRecordingAsFilter, "kymr-dat", suggestion}, open,
                   {".txt", ".edf", ".bdf", ".wav", ".nwb", ".mat", ".kymr-rec"});
}

std::optional<std::filesystem::path> NewUserDefinedFile(Session& session, std::span<CDataDoc* const> open) {
    Form form = UserDefinedForm(session);
    if (!session.host.AskForm(form)) return {};
    const auto path = AskNewFileName(session, "New file name", open);
    if (!path) return {};
    return WriteNewFile(session, *path, [&] { WriteUserDefinedFile(session, SettingsFrom(form), *path); });
}

std::optional<std::filesystem::path> NewFileFromAverage(Session& session, std::span<CDataDoc* const> open) {
    Form form = AverageForm(open);
    if (!session.host.AskForm(form)) return {};
    AveragedFiles settings;
    settings.files = CheckedFiles(form, open);
    if (settings.files.empty() || IsBlank(form.Text("traces"))) return {};
    settings.traces = ParseTraceList(form.Text("traces"), settings.files.front()->traceCount);
    settings.comment = form.Text("comment");
    auto retained = ConsistentFiles(session.host, settings.files);
    if (!retained) return {};
    settings.files = std::move(*retained);
    const auto path = AskNewFileName(session, "New file name", open);
    if (!path) return {};
    return WriteNewFile(session, *path, [&] { WriteAverageFile(session, settings, *path); });
}

std::optional<std::filesystem::path> SaveAsLegacy(CDataDoc& doc, std::span<CDataDoc* const> open) {
    Session& session = doc.GetSession();
    if (!session.host.NoticeWithCancel("LegacySave", "Notification",
                                       "Note: any Kymora features introduced after the legacy version cannot "
                                       "be saved in a legacy file."))
        return {};
    const auto suggestion = NameInstead(doc.filePath, ".flt");
    const auto path = AskName(session, {"Save As Legacy (v10.0)", legacyFilter, "flt", suggestion}, open);
    if (!path) return {};
    Form form("File comment");
    form.AddLongText("comment", "Comment", doc.fileComment, "Free text that is kept in the file.");
    if (!session.host.AskForm(form)) return {};
    // The comment goes into the new file only.
    const std::string comment = std::exchange(doc.fileComment, form.Text("comment"));
    std::optional<std::filesystem::path> written;
    try {
        SaveAs(doc, *path, legacyFileVersion);
        written = path;
    } catch (const Cancelled&) {
    } catch (const FileError& error) {
        session.host.Message(OpenFaultText("Couldn't open file", error));
    }
    doc.fileComment = comment;
    return written;
}

}  // namespace kymora
