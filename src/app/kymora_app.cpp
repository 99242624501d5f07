#include "app/kymora_app.h"

#include <QApplication>
#include <QLocale>
#include <QSettings>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "app/desktop_arguments.h"
#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "app/remote_control.h"
#include "app/theme.h"
#include "app/transform_step.h"
#include "display/plot_recording.h"
#include "display/retained_settings.h"
#include "host/options_form.h"
#include "host/version.h"
#include "numerics/vector_state.h"
#include "operations/graphics_file_format.h"
#include "recording/recording_recovery.h"

namespace kymora {

namespace {

constexpr const char* company = "Kymora Labs: Applications";
constexpr const char* program = "Kymora";
constexpr const char* section = "Options";
constexpr const char* recentSection = "Recent File List";
constexpr const char* windowSection = "Window";

struct StoredOption {
    const char* key;
    int Options::*member;
    int least, greatest;
};
constexpr StoredOption storedOptions[] = {
    {"Expand-Contract focus", &Options::expandContractFocus, 0, 1},
    {"Cancel selection after action", &Options::cancelSelectionAfterAction, 0, 1},
    {"Hit margin", &Options::hitMargin, 0, greatestHitMargin},
    {"Event channel number", &Options::eventChannelMode, letterChannels, maxEventChannels},
    {"Bootstrap reps", &Options::bootstrapReps, 1, greatestBootstrapReps},
    {"Palette", &Options::palette, 0, 2},
    {"Transform undo share", &Options::transformUndoShare, 0, greatestUndoShare},
    {"Retained settings", &Options::retainedSettings, 0, (1 << retainedChoices) - 1},
    {"Theme", &Options::theme, 0, 2},
    {"Hover card", &Options::hoverCard, 0, 1},
};

constexpr std::pair<const char*, bool PictureOptions::*> pictureParts[] = {
    {"Picture on white", &PictureOptions::onWhite},         {"Picture grid", &PictureOptions::grid},
    {"Picture cursors", &PictureOptions::cursors},          {"Picture events", &PictureOptions::events},
    {"Picture event labels", &PictureOptions::eventLabels},
};

// Qt ends the program with an abort when there is no screen; a person deserves a sentence.
bool HasScreen() {
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM");
}

bool NamesPlatform(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (std::string_view(argv[i]) == "-platform") return true;
    return false;
}

// Different in each start.
uint64_t TimeOfDaySeed() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

// Painting leaves the vector registers as they should not be for what the next event computes.
class Application : public QApplication {
  public:
    using QApplication::QApplication;
    bool notify(QObject* receiver, QEvent* event) override {
        ClearVectorState();
        return QApplication::notify(receiver, event);
    }
};

}  // namespace

CKymora32App::CKymora32App() : session_(remoteHost_, files_), summaries_(files_, {SummaryFolder::OfUser()}) {
    session_.summaries = &summaries_;
    session_.Seed(TimeOfDaySeed());
    session_.program = "/proc/self/exe";  // this very one, also where another has taken its place
    if (QLocale::system().decimalPoint() == ",") session_.decimalSeparator = ',';
    ReadOptions();
}

CKymora32App::~CKymora32App() { session_.summaries = nullptr; }

void CKymora32App::ReadOptions() {
    session_.options.palette = static_cast<int>(Palette::even);
    QSettings settings(company, program);
    settings.beginGroup(section);
    for (const StoredOption& option : storedOptions) {
        int& value = session_.options.*option.member;
        bool isNumber = false;
        const int stored = settings.value(option.key, value).toInt(&isNumber);
        if (isNumber && stored >= option.least && stored <= option.greatest) value = stored;
    }
    if (session_.options.eventChannelMode != maxEventChannels)
        session_.options.eventChannelMode = letterChannels;
    session_.options.clusterCommand = settings.value("Clustering program").toString().toStdString();
    // What no file keeps of a view.
    ViewHabits& habits = session_.viewHabits;
    habits.m_crBackground =
        settings.value("Paper", ThemePaper(static_cast<Theme>(session_.options.theme))).toUInt() & 0xFFFFFF;
    habits.m_bInactiveSections = settings.value("Inactive data sections", false).toBool();
    habits.m_bEventTicks = settings.value("Event ticks in traces", false).toBool();
    habits.m_bAutoTimeUnit = settings.value("Automatic time unit", true).toBool();
    habits.m_bClockTime = settings.value("Time of day", false).toBool();
    PictureOptions& picture = session_.picture;
    const int dpi = settings.value("Picture resolution", picture.dpi).toInt();
    if (dpi >= leastPictureDpi && dpi <= greatestPictureDpi) picture.dpi = dpi;
    const double width = settings.value("Vector width", picture.targetWidth).toDouble();
    const int resolution = settings.value("Vector resolution", picture.targetResolution).toInt();
    if (TargetFault(width, resolution).empty()) {
        picture.targetWidth = width;
        picture.targetResolution = resolution;
    }
    for (const auto& [key, member] : pictureParts)
        picture.*member = settings.value(key, picture.*member).toBool();
}

void CKymora32App::WriteOptions() const {
    QSettings settings(company, program);
    settings.beginGroup(section);
    Options kept = session_.options;
    if (session_.numbersForSession) kept.eventChannelMode = letterChannels;
    for (const StoredOption& option : storedOptions) settings.setValue(option.key, kept.*option.member);
    settings.setValue("Clustering program", ToQString(kept.clusterCommand));
    const ViewHabits& habits = session_.viewHabits;
    if (habits.m_crBackground == ThemePaper(static_cast<Theme>(session_.options.theme)))
        settings.remove("Paper");
    else
        settings.setValue("Paper", habits.m_crBackground);
    settings.setValue("Inactive data sections", habits.m_bInactiveSections);
    settings.setValue("Event ticks in traces", habits.m_bEventTicks);
    settings.setValue("Automatic time unit", habits.m_bAutoTimeUnit);
    settings.setValue("Time of day", habits.m_bClockTime);
    settings.setValue("Picture resolution", session_.picture.dpi);
    settings.setValue("Vector width", session_.picture.targetWidth);
    settings.setValue("Vector resolution", session_.picture.targetResolution);
    for (const auto& [key, member] : pictureParts) settings.setValue(key, session_.picture.*member);
}

void CKymora32App::ReadFrameSettings(CMainFrame& frame) {
    QSettings settings(company, program);
    settings.beginGroup(recentSection);
    std::vector<std::filesystem::path> paths;
    std::vector<std::time_t> opened;
    for (size_t i = 1; i <= RecentFiles::most; ++i) {
        paths.push_back(ToPath(settings.value(QString("File%1").arg(i)).toString()));
        opened.push_back(static_cast<std::time_t>(settings.value(QString("Time%1").arg(i)).toLongLong()));
    }
    frame.Recent().Set(paths, opened);
    frame.ShowStart();
    settings.endGroup();
    settings.beginGroup(windowSection);
    host_.lastFolder = settings.value("Last folder").toString();
    frame.restoreGeometry(settings.value("Geometry").toByteArray());
    if (!settings.value("Tool bar", true).toBool()) frame.ToggleToolBar();
    frame.restoreState(settings.value("Docks").toByteArray());
    frame.OperationDialogs().RestoreState(settings.value("Panels").toMap());
}

void CKymora32App::WriteFrameSettings(CMainFrame& frame) const {
    QSettings settings(company, program);
    settings.beginGroup(recentSection);
    settings.remove({});
    for (size_t i = 0; i < frame.Recent().Paths().size(); ++i) {
        const std::filesystem::path& path = frame.Recent().Paths()[i];
        settings.setValue(QString("File%1").arg(i + 1), FileName(path));
        settings.setValue(QString("Time%1").arg(i + 1),
                          static_cast<qlonglong>(frame.Recent().OpenedAt(path)));
    }
    settings.endGroup();
    settings.beginGroup(windowSection);
    settings.setValue("Last folder", host_.lastFolder);
    settings.setValue("Geometry", frame.saveGeometry());
    settings.setValue("Tool bar", frame.IsToolBarShown());
    settings.setValue("Docks", frame.saveState());
    settings.setValue("Panels", frame.OperationDialogs().SaveState());
}

int RunDesktop(int argc, char** argv) {
    if (!HasScreen() && !NamesPlatform(argc, argv)) {
        std::fputs(
            "kymora: there is no display to open a window on; kymora --help lists what works without one\n",
            stderr);
        return 1;
    }
    Application qt(argc, argv);
    // Qt takes over the user's locale; numbers and dates that go into files are the same everywhere.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_TIME, "C");
    QApplication::setApplicationName(program);
    QApplication::setApplicationVersion(ProgramVersion());
    std::vector<std::string> words;
    for (const QString& argument : QApplication::arguments().mid(1))
        words.push_back(ToPath(argument).string());
    const DesktopArguments arguments = ParseDesktopArguments(words);
    if (!arguments.fault.empty()) {
        std::fprintf(stderr, "kymora: %s\nkymora: See kymora --help.\n", arguments.fault.c_str());
        return 2;
    }

    // The options stand before the command line's files open, so that these are shown by them too.
    CKymora32App app;
    Session& session = app.GetSession();
    if (arguments.seed) session.Seed(*arguments.seed);
    ApplyTheme(static_cast<Theme>(session.options.theme));
    CMainFrame frame(session, &app.GetHost(), {OpenFor::editing, OpenTalk::asks, arguments.importSettings});
    app.ReadFrameSettings(frame);
    const auto keep = [&] {
        app.WriteOptions();
        app.WriteFrameSettings(frame);
    };
    QObject::connect(&frame, &CMainFrame::SettingsChanged, keep);
    frame.show();
    std::optional<RemoteControl> remote;
    if (arguments.remotePort) {
        remote.emplace(frame, session, app.GetRemoteHost());
        if (!remote->Start(*arguments.remotePort)) return 1;
        remote->OpenFiles(arguments.files);
    } else {
        frame.OpenFiles(arguments.files);
        frame.TakeUpLeftRecordings(TemporaryFolder());
    }
    const int result = QApplication::exec();
    keep();
    return result;
}

}  // namespace kymora
