#include "cli/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>

#include "batch/batch_workers.h"
#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "document/native_writer.h"

namespace kymora {
namespace {

constexpr auto makers = {MakeInfoCommand,       MakeSamplesCommand,
                         MakeEventsCommand,     MakeConvertCommand,
                         MakePlotCommand,       MakeDemoCommand,
                         MakeOperationsCommand, MakeRunCommand,
                         MakeBatchCommand,      MakeHistoryCommand,
                         MakeSourcesCommand,    MakeRecordCommand,
                         MakeRecoverCommand,    MakeRefractoryReviewCommand,
                         MakeBatchWorkerCommand};

// Words of the terminal, also those of subcommands that this version does not have: no desktop opens for
// them.
constexpr std::string_view terminalWords[] = {
    "info",    "samples", "events",  "convert",           "plot",
    "demo",    "run",     "batch",   "operations",        "history",
    "sources", "record",  "recover", "refractory-review", batchWorkerWord};

bool IsTerminalWord(std::string_view word) {
    return std::find(std::begin(terminalWords), std::end(terminalWords), word) != std::end(terminalWords);
}

// Options of the desktop, which may stand before the files that it opens.
bool IsDesktopOption(std::string_view word) {
    const std::string_view name = word.substr(0, word.find('='));
    return name == "--import" || name == "--seed" || name == "--remote";
}

// Whether windows can be seen here. The platforms of Qt that show none are there for tests and pictures.
bool HasDisplay() {
    const auto isSet = [](const char* name) {
        const char* const value = std::getenv(name);
        return value != nullptr && *value != '\0';
    };
    const char* const platform = std::getenv("QT_QPA_PLATFORM");
    const std::string_view named = platform ? platform : "";
    if (named.starts_with("offscreen") || named.starts_with("minimal")) return false;
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") ||
           (!named.empty() && named != "xcb" && named != "wayland");
}

// A word that names neither a subcommand nor a file. A desktop tells so in its window; without a display
// nobody would hear of it.
bool NamesNothing(std::string_view word) {
    std::error_code error;
    return !word.starts_with("-") && !IsTerminalWord(word) && !std::filesystem::exists(word, error);
}

struct Entry {
    std::unique_ptr<Subcommand> command;
    CommonOptions common;
    CLI::App* app = nullptr;
};

// Empty for a decimal whole number that fits.
std::string WholeNumberFault(const std::string& text) {
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 10);
    if (error != std::errc() || end != text.data() + text.size())
        return "\"" + text + "\" is no whole number here";
    // The library reads a leading 0 as octal.
    const size_t first = text[0] == '-' ? 1 : 0;
    if (text.size() > first + 1 && text[first] == '0') return "\"" + text + "\" has a 0 too many in front";
    return {};
}

void AddOption(CLI::App& app, const CommandOption& option) {
    CLI::Option* added = std::visit(
        [&](auto* target) -> CLI::Option* {
            if constexpr (std::is_same_v<decltype(target), bool*>)
                return app.add_flag(option.names, *target, option.help);
            else
                return app.add_option(option.names, *target, option.help);
        },
        option.target);
    // Numbers are decimal: the library alone would take a padded 0100 for 64, and nothing at all for "not
    // given".
    if (std::holds_alternative<std::optional<int64_t>*>(option.target))
        added->check([](const std::string& text) { return WholeNumberFault(text); });
    if (std::holds_alternative<std::optional<double>*>(option.target))
        added->check([](const std::string& text) {
            return text.empty() ? std::string("no number is given") : std::string();
        });
    // A positional's name tells its value already.
    const bool positional = option.names[0] != '-';
    added->option_text((positional ? "" : option.value + " ") + (option.required ? "(required)" : ""));
    // One value for each time that the option is given, so that a file's name behind it stays a file's name.
    if (!positional && std::holds_alternative<std::vector<std::string>*>(option.target))
        added->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(false);
    if (option.required) added->required();
}

bool HasCommand(const std::vector<Entry>& entries, std::string_view name) {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return entry.command && entry.command->Name() == name; });
}

std::string ExampleText(const Subcommand& command) {
    std::string text = "Examples:";
    for (const std::string& line : command.Examples()) text += "\n  " + line;
    return text;
}

void AddSubcommand(CLI::App& app, Entry& entry) {
    entry.app = app.add_subcommand(entry.command->Name(), entry.command->Summary());
    entry.app->set_help_flag("-h,--help", "show this help");
    if (entry.command->IsHidden()) entry.app->group("");
    for (const CommandOption& option : entry.command->Options()) AddOption(*entry.app, option);
    for (CommandOption option : entry.common.Options()) AddOption(*entry.app, option);
    entry.app->footer(ExampleText(*entry.command));
}

void DescribeProgram(CLI::App& app) {
    app.name("kymora");
    app.set_help_flag("-h,--help", "show this help; SUBCOMMAND --help shows that of a subcommand");
    app.set_version_flag("--version", "kymora " KYMORA_VERSION, "show the version");
    app.require_subcommand(1);
    app.footer("Without a subcommand: kymora [FILE...] opens the desktop application on the files. It takes\n"
               "--import KEY=VALUE and --seed N, as the subcommands do, and --remote PORT, with which other\n"
               "programs drive it.\n\n"
               "Results go to standard output, messages to standard error. Exit codes: 0 done, 1 refused or\n"
               "failed, 2 wrong command line, 3 a file cannot be opened, 130 interrupted.\n\n"
               "Examples:\n"
               "  kymora info recording.edf\n"
               "  kymora convert recording.edf -o recording.kymr-dat\n"
               "  kymora operations\n"
               "  kymora demo -o demo");
}

void RunSubcommand(const Entry& entry) {
    SubcommandContext context(entry.common);
    try {
        entry.command->Run(context);
    } catch (const CommandError&) {
        context.output.Flush();  // what was found before stays found
        throw;
    }
    context.output.Flush();
}

// Turns the ways in which a command can end into exit codes.
int RunGuarded(const Entry& entry) {
    try {
        RunSubcommand(entry);
        return exitDone;
    } catch (const OutputClosed&) {
        return exitDone;
    } catch (const Cancelled&) {
        TellUser("Interrupted.");
        return exitInterrupted;
    } catch (const CommandError& error) {
        if (*error.what() != '\0') TellUser(error.what());
        return error.code;
    } catch (const std::exception& error) {
        // A signal can also surface as an error of a system call.
        TellUser(error.what());
        return WasInterrupted() ? exitInterrupted : exitFailed;
    }
}

int PrintAndReturn(const std::string& text) {
    try {
        StandardOutput output;
        output.Write(text);
        output.Flush();
        return exitDone;
    } catch (const OutputClosed&) {
        return exitDone;
    } catch (const std::exception& error) {
        TellUser(error.what());
        return exitFailed;
    }
}

}  // namespace

bool IsCommandLine(int argc, char** argv) {
    if (argc < 2) return false;
    const std::string_view first = argv[1];
    const bool isOption = first == "-h" || (first.size() > 2 && first.substr(0, 2) == "--");
    return IsTerminalWord(first) || (isOption && !IsDesktopOption(first)) ||
           (NamesNothing(first) && !HasDisplay());
}

static int TellMissing(const char* name) {
    TellUser(std::string("There is no subcommand ") + name +
             (IsTerminalWord(name) ? "." : ", and no file of that name."));
    TellUser("See kymora --help.");
    return exitUsage;
}

int RunCommandLine(int argc, char** argv) {
    HoldStandardStreams();
    CatchInterrupts();
    FailAtFileLimits();
    CLI::App app{"Kymora views and converts electrophysiological recordings."};
    std::vector<Entry> entries(makers.size());
    bool isMissing = false;
    try {
        DescribeProgram(app);
        size_t i = 0;
        for (const auto make : makers) {
            entries[i].command = make();
            AddSubcommand(app, entries[i++]);
        }
        isMissing =
            argc > 1 && (IsTerminalWord(argv[1]) ? !HasCommand(entries, argv[1]) : NamesNothing(argv[1]));
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        if (isMissing) return TellMissing(argv[1]);
        return PrintAndReturn(app.help());
    } catch (const CLI::CallForVersion& version) {
        return PrintAndReturn(std::string(version.what()) + "\n");
    } catch (const CLI::Error& error) {
        if (isMissing) return TellMissing(argv[1]);
        TellUser(error.what());
        TellUser("See kymora --help.");
        return exitUsage;
    }
    for (const Entry& entry : entries)
        if (entry.app->parsed()) return RunGuarded(entry);
    return exitUsage;
}

}  // namespace kymora
