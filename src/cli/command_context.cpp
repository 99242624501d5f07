#include "cli/command_context.h"

#include <fmt/format.h>
#include <langinfo.h>
#include <locale.h>

#include "cli/interrupt.h"
#include "document/native_writer.h"
#include "import/open_document.h"

namespace kymora {

namespace {

// Of the user's locale, without making it the program's: what is written looks the same everywhere.
char LocaleDecimalSeparator() {
    const locale_t locale = newlocale(LC_NUMERIC_MASK, "", nullptr);
    if (!locale) return '.';
    const char separator = nl_langinfo_l(RADIXCHAR, locale)[0];
    freelocale(locale);
    return separator == ',' ? ',' : '.';
}

// Of this very program, also where another one has taken its place on the disk.
std::filesystem::path ProgramPath() { return "/proc/self/exe"; }

}  // namespace

std::vector<CommandOption> CommonOptions::Options() {
    return {
        {"--import", "KEY=VALUE",
         "a setting for the reader of a foreign format, e.g. signals=1,3; may be given several times",
         &imports},
        {"--seed", "N", "the seed of random draws (0)", &seed},
        {"--yes", "", "answer every question with yes; without it the answer is the one that changes nothing",
         &yes},
        {"--quiet", "", "no notices and no progress; errors are still told", &quiet},
    };
}

SubcommandContext::SubcommandContext(const CommonOptions& options)
    : host(options.yes, options.quiet), session(host, files) {
    for (const std::string& setting : options.imports) {
        const size_t equals = setting.find('=');
        if (equals == 0 || equals == std::string::npos)
            throw CommandError(exitUsage, "--import takes KEY=VALUE, not \"" + setting + "\".");
        imports[setting.substr(0, equals)] = setting.substr(equals + 1);
    }
    if (options.seed.value_or(0) < 0) throw CommandError(exitUsage, "--seed takes a number from 0.");
    session.Seed(static_cast<uint64_t>(options.seed.value_or(0)));
    session.decimalSeparator = LocaleDecimalSeparator();
    session.program = ProgramPath();
}

std::unique_ptr<CDataDoc> SubcommandContext::Open(const std::string& path, OpenFor purpose) {
    Opened opened = OpenRecording(session, path, {purpose, OpenTalk::tells, imports});
    importsUsed_.merge(opened.opening.settingsUsed);
    importRefused_ = importRefused_ || !opened.opening.settingRefused.empty();
    if (!opened.document && WasInterrupted()) throw Cancelled();
    if (!opened.document) throw CommandError(importRefused_ ? exitUsage : exitCannotOpen, "");
    CheckImports();
    return std::move(opened.document);
}

void SubcommandContext::CheckImports() const {
    for (const auto& [key, value] : imports) {
        if (importsUsed_.count(key) != 0) continue;
        std::string known;
        for (const std::string& name : importsUsed_) known += (known.empty() ? "" : ", ") + name;
        throw CommandError(exitUsage,
                           known.empty()
                               ? "--import " + key + ": a file of this format takes no settings."
                               : "--import " + key + ": a file of this format takes only " + known + ".");
    }
}

std::unique_ptr<Progress> SubcommandContext::StartOutputProgress(std::string_view label, uint64_t total) {
    return StandardOutput::IsTerminal() ? TerminalHost::SilentProgress() : host.StartProgress(label, total);
}

bool SubcommandContext::IsOneFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    const auto first = files.Stamp(a);
    const auto second = files.Stamp(b);
    return first && second && first->device == second->device && first->inode == second->inode;
}

void SubcommandContext::MayReplace(const std::filesystem::path& path) {
    if (!files.Stamp(path)) return;
    if (files.IsReadOnly(path))
        throw CommandError(exitFailed, path.string() + " has the ReadOnly property set.");
    if (!host.Confirm("The file " + path.string() + " exists. Replace it?"))
        throw CommandError(exitFailed, "Nothing was written.");
}

void UpdateOrCancel(Progress& progress, uint64_t done) {
    if (!progress.Update(done)) throw Cancelled();
}

}  // namespace kymora
