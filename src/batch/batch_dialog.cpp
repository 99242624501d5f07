// What is asked before a batch.

#include <fmt/format.h>

#include <algorithm>

#include "batch/batch_run.h"
#include "host/form.h"
#include "import/formats.h"
#include "import/open_document.h"
#include "transforms/transform_dlg.h"

namespace kymora {

namespace {

using Why = PlannedFile::Why;

constexpr size_t mostNamed = 10;
constexpr std::string_view insertingClass = "CEventInsertRandomPointProcess";
constexpr const char* insertingText =
    "This will insert events into the current document.\nBatch apply is only activated by clicking OK.";

// Each in a line of its own, and how many there are behind those.
std::string Named(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size() && i < mostNamed; ++i) text += "\n" + names[i];
    if (names.size() > mostNamed) text += fmt::format("\nand {} others", names.size() - mostNamed);
    return text;
}

bool HasListing(const CMultiBatch& list) {
    for (size_t i = 0; i < list.Count(); ++i)
        if (list.Item(i).WhatItAffects() == Affects::nothing) return true;
    return false;
}

// What windows show and what nobody can be asked about.
void LeaveOut(RunPlan& plan, BatchDocuments& documents) {
    FileSystem& files = documents.GetSession().files;
    for (PlannedFile& planned : plan.files) {
        if (!planned.IsRun()) continue;
        const CDataDoc* shown = documents.FindShown(planned.file);
        const CDataDoc* atTarget = documents.FindShown(planned.target);
        if (FoldedExtension(planned.file) == ".txt")
            planned.why = Why::asksHow;
        else if (plan.keep != Keep::nowhere && atTarget && atTarget != shown)
            planned.why = Why::targetShown;
        else if (plan.keep == Keep::inPlace && shown && shown->IsModified())
            planned.why = Why::unsaved;
        else if (plan.keep == Keep::inPlace && shown && planned.IsInPlace() &&
                 files.Stamp(shown->filePath) != shown->RememberedStamp(shown->filePath))
            planned.why = Why::changedOutside;
    }
}

bool MayLeaveOut(Session& session, const RunPlan& plan) {
    std::vector<std::string> left;
    for (const PlannedFile& planned : plan.files)
        if (!planned.IsRun() && planned.why != Why::namedTwice)
            left.push_back(planned.file.filename().string() + ": " + LeftOutText(planned));
    if (left.empty()) return true;
    return session.host.Confirm(fmt::format("{} of {} files will not be processed:{}\nContinue with {}?",
                                            left.size(), plan.files.size(), Named(left),
                                            plan.CountRun() == 0 ? "none" : "the others"));
}

bool MayReplace(Session& session, const RunPlan& plan) {
    std::vector<std::string> replaced;
    for (const PlannedFile& planned : plan.files)
        if (planned.IsRun() && !planned.IsInPlace() && session.files.Stamp(planned.target))
            replaced.push_back(planned.target.string());
    if (plan.keep != Keep::inPlace || replaced.empty()) return true;
    return session.host.Confirm(
        fmt::format("Foreign files are saved in kymr-dat format. These files exist and will be replaced:{}\n"
                    "Continue?",
                    Named(replaced)));
}

// The last questions, which need the files.
std::optional<BatchOrder> Finish(BatchOrder order, BatchDocuments& documents, bool savesResults) {
    Session& session = documents.GetSession();
    const auto files = session.host.ChooseOpenFiles({"Choose the files to process", OpenFilter(), {}, {}});
    if (files.empty()) return {};
    if (savesResults) {
        order.results =
            session.host.ChooseSaveFile({"Save the results as", "text (*.txt)|*.txt||", "txt", {}});
        if (!order.results) return {};
    }
    order.plan = PlanChain(session.files, order.list, files);
    LeaveOut(order.plan, documents);
    if (const std::string fault = order.list.SeveralFilesFault();
        !fault.empty() && order.plan.CountRun() > 1) {
        session.host.Failure(fault);
        return {};
    }
    if (!MayLeaveOut(session, order.plan) || !MayReplace(session, order.plan)) return {};
    return order;
}

std::optional<BatchOrder> Ask(BatchOrder order, BatchDocuments& documents, bool asksWriteNew) {
    const bool changes = order.list.WhatItAffects() != Affects::nothing;
    const bool lists = HasListing(order.list);
    Form form("Batch process");
    form.okLabel = "Choose files...";
    const std::string notice = batchFilesText;
    form.AddNote("notice", changes ? notice + "\n\n" + batchWriteText : notice);
    if (changes && asksWriteNew)
        form.AddFlag("writeNew", "Write new file", false,
                     "Saves each result beside its recording, with _tr in its name");
    if (lists)
        form.AddRadio("results", "Results", {"Show in a window", "Save to a file"}, 0,
                      "Where the results of all files go, one behind the other");
    if (!documents.GetSession().host.AskForm(form)) return {};
    if (changes && asksWriteNew) order.list.m_bWriteNewFile = form.Flag("writeNew");
    return Finish(std::move(order), documents, lists && form.Choice("results") == 1);
}

BatchOrder ListOfOne(const Operation& operation, CBatchBaseDlg& dialog) {
    BatchOrder order;
    auto item = operation.make();
    item->TakeSettings(dialog.Settings());
    item->SettingsWereChosen();
    order.list.Add(std::move(item));
    order.name = dialog.Title();
    return order;
}

}  // namespace

std::optional<BatchOrder> OrderTransformBatch(BatchDocuments& documents, const Operation& operation,
                                              CTransformDlg& dialog) {
    BatchOrder order = ListOfOne(operation, dialog);
    order.list.m_bWriteNewFile = dialog.m_bNewFile;
    return Finish(std::move(order), documents, false);
}

std::optional<BatchOrder> OrderBatch(BatchDocuments& documents, const Operation& operation,
                                     CBatchBaseDlg& dialog) {
    if (!dialog.View() || !dialog.Document()) {
        documents.GetSession().host.Failure(noViewText);
        return {};
    }
    if (const std::string fault = dialog.BatchFault(); !fault.empty()) {
        documents.GetSession().host.Failure(fault);
        return {};
    }
    if (operation.className == insertingClass)
        documents.GetSession().host.Notice("batchInserts", "Batch Processing", insertingText);
    return Ask(ListOfOne(operation, dialog), documents, true);
}

std::optional<BatchOrder> OrderListBatch(BatchDocuments& documents, const CMultiBatch& list,
                                         const std::string& name) {
    if (list.Count() == 0) return {};
    return Ask({list.Copy(), name, {}}, documents, false);
}

}  // namespace kymora
