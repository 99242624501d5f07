#pragma once
// What a running subcommand has around it: the session, the terminal and standard output.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/command.h"
#include "cli/output.h"
#include "cli/terminal_host.h"
#include "document/data_doc.h"
#include "host/disk_file_system.h"
#include "host/session.h"

namespace kymora {

// The options that every subcommand takes.
struct CommonOptions {
    std::vector<std::string> imports;  // KEY=VALUE
    std::optional<int64_t> seed;
    bool yes = false;
    bool quiet = false;

    std::vector<CommandOption> Options();
};

class SubcommandContext {
  public:
    // Throws CommandError for an import setting without a key.
    explicit SubcommandContext(const CommonOptions& options);

    // Opens a recording. Throws CommandError when it cannot be opened, or when an import setting was given
    // that its reader does not know.
    std::unique_ptr<CDataDoc> Open(const std::string& path, OpenFor purpose = OpenFor::reading);
    // Throws CommandError for an import setting that no reader has looked at.
    void CheckImports() const;
    // The progress of a long output. No bar is drawn where it would mix with the output on one terminal.
    std::unique_ptr<Progress> StartOutputProgress(std::string_view label, uint64_t total);
    // Whether two paths, links included, lead to one file.
    bool IsOneFile(const std::filesystem::path& a, const std::filesystem::path& b);
    // Throws CommandError unless the file does not exist or the user agrees to replace it.
    void MayReplace(const std::filesystem::path& path);

    TerminalHost host;
    DiskFileSystem files;
    Session session;
    StandardOutput output;
    ImportSettings imports;

  private:
    // Of all files that were opened: readers may look at different ones.
    std::set<std::string> importsUsed_;
    bool importRefused_ = false;
};

// Reports progress and throws Cancelled when the user interrupted.
void UpdateOrCancel(Progress& progress, uint64_t done);

}  // namespace kymora
