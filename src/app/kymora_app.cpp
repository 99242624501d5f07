#include "app/kymora_app.h"

#include <QApplication>
#include <QSettings>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "app/main_frame.h"
#include "host/version.h"

namespace kymora {

namespace {

constexpr const char* company = "Kymora Labs: Applications";
constexpr const char* program = "Kymora";
constexpr const char* section = "Options";

struct StoredOption {
    const char* key;
    int Options::*member;
    int least, greatest;
};
constexpr StoredOption storedOptions[] = {
    {"Expand-Contract focus", &Options::expandContractFocus, 0, 1},
    {"Cancel selection after action", &Options::cancelSelectionAfterAction, 0, 1},
    {"Hit margin", &Options::hitMargin, 0, 20},
    {"Event channel number", &Options::eventChannelMode, letterChannels, maxEventChannels},
    {"Bootstrap reps", &Options::bootstrapReps, 1, 1000000000},
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

}  // namespace

CKymora32App::CKymora32App() : session_(host_, files_) { ReadOptions(); }

void CKymora32App::ReadOptions() {
    QSettings settings(company, program);
    settings.beginGroup(section);
    for (const StoredOption& option : storedOptions) {
        int& value = session_.options.*option.member;
        const int stored = settings.value(option.key, value).toInt();
        if (stored >= option.least && stored <= option.greatest) value = stored;
    }
    if (session_.options.eventChannelMode != maxEventChannels)
        session_.options.eventChannelMode = letterChannels;
}

void CKymora32App::WriteOptions() const {
    QSettings settings(company, program);
    settings.beginGroup(section);
    for (const StoredOption& option : storedOptions)
        settings.setValue(option.key, session_.options.*option.member);
}

int RunDesktop(int argc, char** argv) {
    if (!HasScreen() && !NamesPlatform(argc, argv)) {
        std::fputs(
            "kymora: there is no display to open a window on; kymora --help lists what works without one\n",
            stderr);
        return 1;
    }
    QApplication qt(argc, argv);
    // Qt takes over the user's locale; numbers and dates that go into files are the same everywhere.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_TIME, "C");
    QApplication::setApplicationName(program);
    QApplication::setApplicationVersion(ProgramVersion());
    std::vector<std::filesystem::path> paths;
    for (const QString& argument : QApplication::arguments().mid(1)) {
        if (argument.startsWith('-')) {
            std::fprintf(stderr, "kymora: unknown option %s; see kymora --help\n",
                         argument.toUtf8().constData());
            return 2;
        }
        paths.push_back(ToPath(argument));
    }

    CKymora32App app;
    CMainFrame frame(app.GetSession(), &app.GetHost());
    frame.show();
    frame.OpenFiles(paths);
    const int result = QApplication::exec();
    app.WriteOptions();
    return result;
}

}  // namespace kymora
