#include "batch/batch_run.h"

#include <fmt/format.h>

#include "batch/batch_host.h"
#include "batch/chain_run.h"
#include "catalogue/operations.h"
#include "import/open_document.h"

namespace kymora {

namespace {

using From = RunMessage::From;

// The text with its lines one below the other.
std::string Indented(std::string_view text) {
    std::string lines;
    for (const char c : text) {
        if (c == '\r') continue;
        lines += c == '\n' ? std::string("\r\n\t") : std::string(1, c);
    }
    while (lines.ends_with("\r\n\t")) lines.resize(lines.size() - 3);
    return lines;
}

// What an operation or a host has told in several pieces stands below one name.
std::string MessageLines(const FileReport& report) {
    const std::string name = report.planned.file.string();
    std::string lines;
    const RunMessage* before = nullptr;
    for (const RunMessage& message : report.messages) {
        const bool isPiece = message.from == From::operation || message.from == From::host;
        const bool goesOn = isPiece && before && before->from == message.from;
        lines += goesOn ? "\t" : name + "\r\n\t";
        lines += message.from == From::refusal ? message.title + ": " + message.text : Indented(message.text);
        lines += "\r\n";
        before = &message;
    }
    return lines;
}

class BatchCaller : public RunCaller {
  public:
    BatchCaller(const BatchJob& job, const RunPlan& plan, BatchDocuments& documents, const TextSink& results)
        : job_(job),
          affects_(plan.affects),
          session_(documents.GetSession()),
          outer_(documents),
          results_(results),
          host_(session_.host, "Batch", job.files.size()),
          own_(host_, session_.files),
          documents_(
              own_, [&documents] { return documents.Shown(); }, documents.Settings()) {
        own_.options = session_.options;
        own_.textFile = session_.textFile;
        own_.binaryFile = session_.binaryFile;
        own_.decimalSeparator = session_.decimalSeparator;
        own_.seed = session_.seed;
        own_.random = session_.random;
        own_.now = session_.now;
    }

    bool BeginFile(size_t index) override {
        host_.Log(fmt::format("{} file number = {}\n",
                              affects_ == Affects::traces ? "transforming" : "batch:", index));
        return host_.BeginFile(index);
    }
    bool WasCancelled() const override { return host_.WasCancelled(); }
    void CheckFile(const PlannedFile& planned) override {
        if (!session_.files.Stamp(planned.file)) throw std::runtime_error("There is no such file.");
    }
    CDataDoc* FindShown(const std::filesystem::path& file) override { return documents_.FindShown(file); }
    CDataDoc* Open(const PlannedFile& planned) override {
        const bool isChanged = affects_ != Affects::nothing && planned.IsInPlace();
        return isChanged ? documents_.OpenForBatch(planned.file) : documents_.OpenCopyForBatch(planned.file);
    }
    void Close(const std::filesystem::path& file) override { documents_.CloseIfNotOpen(file); }
    void ReplaceShown(CDataDoc& doc, const std::filesystem::path& path) override {
        outer_.ReplaceShown(doc, path);
    }

    // All files draw from one row of random numbers, whosever session their documents have.
    std::unique_ptr<CBatchBaseDlg> MakeBlock(CDataDoc* doc, RunMessages& messages) override {
        drawing_ = doc ? &doc->GetSession() : &own_;
        if (drawing_ != &own_) drawing_->random = own_.random;
        auto block = job_.operation.make();
        block->SendMessagesTo(&messages);
        block->TakeSettings(job_.settings);
        block->CheckChangeDoc(doc);
        return block;
    }
    Session& GetSession() override { return own_; }
    void TakeResult(CBatchBaseDlg& block, const PlannedFile& planned) override {
        if (affects_ != Affects::nothing || !block.HasResultText() || !results_) return;
        if (!results_((hasResults_ ? "\r\n" : "") + planned.file.string() + "\r\n")) return;
        hasResults_ = true;
        block.WriteResult(results_);
    }
    std::vector<std::string> TakeMessages() override { return host_.TakeMessages(); }
    void Finished(FileReport&) override {
        own_.random = drawing_->random;
        session_.random = own_.random;
    }

  private:
    const BatchJob& job_;
    const Affects affects_;
    Session& session_;
    BatchDocuments& outer_;
    const TextSink& results_;
    BatchHost host_;
    Session own_;  // of the documents that the batch opens
    BatchDocuments documents_;
    Session* drawing_ = &own_;
    bool hasResults_ = false;
};

}  // namespace

RunPlan PlanBatch(Session& session, const BatchJob& job) {
    const Affects affects = job.operation.make()->WhatItAffects();
    const Keep changes = job.writeNew ? Keep::writeNew : Keep::inPlace;
    return PlanRun(session.files,
                   {affects, affects == Affects::nothing ? Keep::nowhere : changes, job.files});
}

RunReport RunBatchJob(const BatchJob& job, BatchDocuments& documents, const TextSink& results) {
    const RunPlan plan = PlanBatch(documents.GetSession(), job);
    BatchCaller caller(job, plan, documents, results);
    return RunFiles(plan, caller);
}

std::string ProcessErrors(const RunReport& report) {
    std::string lines;
    for (const FileReport& file : report.files) {
        const bool isNews = !file.planned.IsRun() && file.planned.why != PlannedFile::Why::namedTwice;
        if (isNews) lines += file.planned.file.string() + "\r\n\t" + LeftOutText(file.planned) + "\r\n";
        lines += MessageLines(file);
    }
    if (report.wasCancelled)
        lines += fmt::format("The batch was cancelled. {} of {} files were processed.\r\n",
                             report.CountDone(), report.planned);
    return lines;
}

}  // namespace kymora
