#include "cli/new_recording_run.h"

#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "cli/operation_settings.h"
#include "cli/run_record.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "exchange/new_recording_dlg.h"
#include "operations/config_file.h"

namespace kymora {
namespace {

[[noreturn]] void Wrong(const std::string& text) { throw CommandError(exitUsage, text); }

std::filesystem::path CheckedOutput(SubcommandContext& context, const std::string& name,
                                    const RunRequest& request, const std::string& source) {
    if (request.inPlace || request.writeNew || !request.output)
        Wrong(name + " makes a new recording: say -o OUT.");
    const std::filesystem::path out(*request.output);
    if (FoldedExtension(out) != ".kymr-dat") Wrong("OUT takes the extension .kymr-dat.");
    if (context.IsOneFile(source, out)) Wrong("OUT is " + source + ", which is read here.");
    context.MayReplace(out);
    return out;
}

void CheckCanOpen(SubcommandContext& context, const std::string& source) {
    try {
        context.files.Open(source, OpenMode::readOnly);
    } catch (const FileError& error) {
        throw CommandError(exitCannotOpen, error.what());
    }
}

}  // namespace

bool MakesRecording(const Operation& operation) { return operation.make()->MakesRecording(); }

void RunNewRecording(SubcommandContext& context, const Operation& operation, const RunRequest& request,
                     OutputSink& results) {
    const auto block = operation.make();
    auto& maker = dynamic_cast<CNewRecordingDlg&>(*block);
    if (request.config && !LoadConfig(context.session, *block, *request.config))
        throw CommandError(exitCannotOpen, "");
    ApplySettings(*block, ParseSettings(request.settings));
    const std::string name(operation.className);
    if (maker.m_sFile.empty() && request.files.size() == 1)
        maker.m_sFile = request.files.front();
    else if (!request.files.empty())
        Wrong(name + " needs no recording: it reads one FILE, or the one of --set file=FILE.");
    if (maker.m_sFile.empty()) Wrong(name + " needs the file that it reads: FILE, or --set file=FILE.");
    const std::filesystem::path out = CheckedOutput(context, name, request, maker.m_sFile);
    CheckCanOpen(context, maker.m_sFile);
    context.host.TakeMessages();
    TellJournalSetAside(context.session, out);
    bool made = false;
    std::optional<std::string> fault;
    try {
        made = maker.WriteRecording(context.session, out);
    } catch (const FileError& error) {
        fault = error.what();
    }
    if (WasInterrupted()) throw Cancelled();
    if (request.json) {
        auto messages = context.host.TakeMessages();
        if (fault) messages.push_back(*fault);
        WriteRunRecord(results, {operation.className, maker.m_sFile, made, out, std::move(messages)}, *block);
    }
    if (!made) throw CommandError(exitFailed, fault.value_or(""));
    // An interrupted save of the file that stood here is none of the new one's concern.
    if (context.files.Stamp(JournalPath(context.files, out))) RetireJournal(context.files, out);
}

}  // namespace kymora
