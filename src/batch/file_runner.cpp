#include "batch/file_runner.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "document/native_writer.h"
#include "document/side_car.h"
#include "operations/save_result.h"

namespace kymora {

namespace {

using From = RunMessage::From;
using Clock = std::chrono::steady_clock;

void Require(const std::string& fault) {
    if (!fault.empty()) throw std::runtime_error(fault);
}

class FileRun {
  public:
    FileRun(const RunPlan& plan, const PlannedFile& planned, RunCaller& caller)
        : plan_(plan), planned_(planned), caller_(caller), report_{planned} {}

    FileReport Run() {
        const auto start = Clock::now();
        caller_.TakeMessages();
        if (planned_.IsRun())
            RunGuarded();
        else
            report_.outcome = Outcome::leftOut;
        report_.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        report_.block = block_.get();
        caller_.Finished(report_);
        report_.block = nullptr;
        block_.reset();  // before its recording
        caller_.Close(planned_.file);
        return std::move(report_);
    }

  private:
    void RunGuarded() {
        try {
            if (Work()) report_.outcome = Outcome::done;
        } catch (const Cancelled&) {
            report_.outcome = Outcome::cancelled;
        } catch (const std::exception& error) {
            report_.error = std::current_exception();
            if (*error.what() != '\0') Say(error.what());
        }
        for (std::string& text : caller_.TakeMessages())
            report_.messages.push_back({From::host, std::move(text), {}});
        if (report_.outcome == Outcome::failed && WasStopped()) report_.outcome = Outcome::cancelled;
        if (report_.IsDone()) NoteChannels();
    }

    // Where nobody attends, only what was cancelled ends without a word.
    bool WasStopped() const {
        const bool isAttended = block_ && block_->IsAttended();
        return caller_.WasCancelled() || (block_ && block_->WasCancelled()) ||
               (!isAttended && !report_.error && report_.messages.empty());
    }

    void NoteChannels() {
        if (!block_ || !block_->Document()) return;
        for (const int channel : block_->WrittenChannels())
            report_.channels.push_back({channel, block_->Document()->GetNumEvents(channel)});
    }

    void Say(std::string text) { report_.messages.push_back({From::run, std::move(text), {}}); }

    bool Work() {
        caller_.CheckFile(planned_);
        CDataDoc* doc = plan_.affects == Affects::newRecording ? nullptr : caller_.Open(planned_);
        if (!doc && plan_.affects != Affects::newRecording) return false;
        block_ = caller_.MakeBlock(doc, report_.messages);
        if (doc && plan_.affects != Affects::nothing) CheckTarget(*doc);
        if (plan_.affects == Affects::traces || plan_.affects == Affects::newRecording) return Write(doc);
        return RunOn(*doc);
    }

    void CheckTarget(CDataDoc& doc) {
        caller_.CheckTarget(planned_);
        Require(TargetFault(doc, planned_));
    }

    bool Write(CDataDoc* doc) {
        if (!WriteAsPlanned(*block_, doc ? doc->GetSession() : caller_.GetSession(), planned_, plan_.keep))
            return false;
        report_.outputs.push_back(planned_.target);
        if (block_->TellsWhatItFound()) caller_.TakeResult(*block_, planned_);
        return true;
    }

    bool RunOn(CDataDoc& doc) {
        if (!block_->Run()) return false;
        if (block_->IsAttended() && caller_.WasCancelled()) throw Cancelled();
        if (plan_.affects != Affects::nothing && !KeepEvents(doc)) return false;
        if (plan_.keep == Keep::out && plan_.affects == Affects::nothing)
            report_.outputs.push_back(planned_.target);
        caller_.TakeResult(*block_, planned_);
        return true;
    }

    bool KeepEvents(CDataDoc& doc) {
        if (!planned_.IsInPlace())
            WriteResultFile(doc, planned_.target);
        else if (!SaveInPlace(doc))
            return false;
        const bool isForeign = planned_.IsInPlace() && doc.GetFileType() != typeFloat;
        report_.outputs.push_back(isForeign ? SideCarPath(doc.GetSession().files, planned_.file)
                                            : planned_.target);
        return true;
    }

    const RunPlan& plan_;
    const PlannedFile& planned_;
    RunCaller& caller_;
    FileReport report_;
    std::unique_ptr<CBatchBaseDlg> block_;
};

}  // namespace

size_t RunReport::CountDone() const {
    return static_cast<size_t>(std::ranges::count_if(files, &FileReport::IsDone));
}

std::string TargetFault(CDataDoc& doc, const PlannedFile& planned) {
    return planned.IsInPlace() ? InPlaceFault(doc) : ReplaceFault(doc.GetSession().files, planned.target);
}

bool WriteAsPlanned(CBatchBaseDlg& block, Session& session, const PlannedFile& planned, Keep keep) {
    WrittenFile made = block.WriteFile(session, planned.target, keep != Keep::inPlace);
    while (made.note.ends_with('\n')) made.note.pop_back();
    Require(made.note);
    return made.isDone;
}

RunReport RunFiles(const RunPlan& plan, RunCaller& caller) {
    RunReport report{{}, plan.files.size(), false};
    for (size_t i = 0; i < plan.files.size() && !report.wasCancelled; ++i) {
        if (caller.BeginFile(i)) report.files.push_back(FileRun(plan, plan.files[i], caller).Run());
        report.wasCancelled = report.files.size() <= i || report.files.back().outcome == Outcome::cancelled;
    }
    return report;
}

}  // namespace kymora
