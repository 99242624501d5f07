#pragma once
// One subcommand: what it takes, and what it does. The table of subcommands stands in command_line.cpp.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace kymora {

class SubcommandContext;

enum ExitCode : int {
    exitDone = 0,
    exitFailed = 1,      // an operation refused or failed
    exitUsage = 2,       // the command line is wrong
    exitCannotOpen = 3,  // a file cannot be opened or is not what its extension says
    exitInterrupted = 130,
};

// Ends the command. An empty text means that the user was told already.
class CommandError : public std::runtime_error {
  public:
    CommandError(ExitCode code, const std::string& text) : std::runtime_error(text), code(code) {}
    ExitCode code;
};

// One option or positional argument. `names` is "--from", "-o,--output" or, for a positional, "FILE". `value`
// names the value in the help; a truth value has none.
struct CommandOption {
    using Target = std::variant<bool*, std::string*, std::optional<std::string>*, std::optional<int64_t>*,
                                std::optional<double>*, std::vector<std::string>*>;
    std::string names;
    std::string value;
    std::string help;
    Target target;
    bool required = false;
};

class Subcommand {
  public:
    virtual ~Subcommand() = default;
    virtual std::string Name() const = 0;
    virtual std::string Summary() const = 0;
    // Not told of in the help.
    virtual bool IsHidden() const { return false; }
    // Lines of examples for the help, without the program's indentation.
    virtual std::vector<std::string> Examples() const = 0;
    // The targets are members of the command and live as long as it does.
    virtual std::vector<CommandOption> Options() = 0;
    // Throws CommandError, Cancelled, FileError or OutputClosed.
    virtual void Run(SubcommandContext& context) = 0;
};

std::unique_ptr<Subcommand> MakeInfoCommand();
std::unique_ptr<Subcommand> MakeSamplesCommand();
std::unique_ptr<Subcommand> MakeEventsCommand();
std::unique_ptr<Subcommand> MakeConvertCommand();
std::unique_ptr<Subcommand> MakePlotCommand();
std::unique_ptr<Subcommand> MakeDemoCommand();
std::unique_ptr<Subcommand> MakeOperationsCommand();
std::unique_ptr<Subcommand> MakeRunCommand();
std::unique_ptr<Subcommand> MakeBatchCommand();
std::unique_ptr<Subcommand> MakeHistoryCommand();
std::unique_ptr<Subcommand> MakeSourcesCommand();
std::unique_ptr<Subcommand> MakeRecordCommand();
std::unique_ptr<Subcommand> MakeRecoverCommand();
std::unique_ptr<Subcommand> MakeRefractoryReviewCommand();
// Not for users: what a batch starts for its work.
std::unique_ptr<Subcommand> MakeBatchWorkerCommand();

}  // namespace kymora
