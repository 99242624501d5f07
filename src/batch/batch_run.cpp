#include "batch/batch_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "document/native_writer.h"
#include "import/open_document.h"

namespace kymora {

namespace {

// A text of this size still opens in a window.
constexpr size_t mostShownBytes = size_t{16} << 20;
constexpr const char* notInResultText = "This file has unsaved changes in its window. They are not in the "
                                        "result, which was made from the file as it is saved.";
constexpr const char* editedMeanwhileText =
    "This file was changed in its window while the batch worked on it. The result is on the disk; the window "
    "still shows the file as it was before, with these changes. Close it without saving to see the result.";
constexpr const char* cutText =
    "The results are too long to be shown whole. Run the batch again and save them to a file.\r\n";

std::string OneLine(const std::vector<std::string>& messages) {
    std::string line;
    for (const std::string& message : messages) line += (line.empty() ? "" : " ") + message;
    std::string plain;
    for (const char c : line)
        if (c == '\n' || c == '\t')
            plain += ' ';
        else if (c != '\r')
            plain += c;
    return plain;
}

// The row names the file already.
std::string WithoutName(std::string text, const std::filesystem::path& file) {
    const std::string start = "Couldn't open " + file.string() + " ";
    return text.starts_with(start) ? text.substr(start.size()) : text;
}

BatchRow::State StateOf(Outcome outcome) {
    using State = BatchRow::State;
    switch (outcome) {
    case Outcome::done:
        return State::done;
    case Outcome::leftOut:
        return State::leftOut;
    case Outcome::cancelled:
        return State::cancelled;
    case Outcome::failed:
        break;
    }
    return State::failed;
}

}  // namespace

const char* StateName(BatchRow::State state) {
    static constexpr const char* names[] = {"waiting", "running", "done", "failed", "left out", "cancelled"};
    return names[static_cast<size_t>(state)];
}

BatchRun::BatchRun(BatchOrder order, BatchDocuments& documents)
    : order_(std::move(order)), documents_(documents) {
    for (const PlannedFile& planned : order_.plan.files) rows_.push_back({planned.file});
    files_.resize(rows_.size());
    NoteShown();
    BatchListener& listener = *this;
    workers_ = std::make_unique<BatchWorkers>(Work(), documents_.GetSession().files, listener);
}

BatchRun::~BatchRun() = default;

BatchWork BatchRun::Work() {
    Session& session = documents_.GetSession();
    BatchWork work{{order_.list, session, documents_.Settings()}, order_.name};
    work.plan = order_.plan;
    // A foreign file is not what its native form takes the place of.
    for (const PlannedFile& planned : order_.plan.files)
        if (planned.IsInPlace() && shown_.contains(planned.file)) work.shown.insert(planned.file);
    work.jobs =
        std::clamp<size_t>(order_.plan.CountRun(), 1, std::max(1u, std::thread::hardware_concurrency()));
    work.program = session.program;
    return work;
}

void BatchRun::NoteShown() {
    for (size_t i = 0; i < rows_.size(); ++i) {
        const CDataDoc* doc = documents_.FindShown(rows_[i].file);
        if (!doc) continue;
        shown_.insert(rows_[i].file);
        if (order_.plan.files[i].IsRun() && doc->IsModified()) files_[i].note = notInResultText;
    }
}

bool BatchRun::Step(int milliseconds) {
    if (!workers_) return false;
    auto rest = BatchRow::State::cancelled;
    try {
        if (workers_->Step(milliseconds)) return true;
    } catch (const std::exception& error) {  // a worker that cannot be started
        rest = BatchRow::State::failed;
        more_ += fmt::format("The batch cannot go on: {}\r\n", error.what());
    }
    workers_.reset();
    for (size_t i = 0; i < rows_.size(); ++i) {
        BatchRow& row = rows_[i];
        if (row.state != BatchRow::State::waiting && row.state != BatchRow::State::running) continue;
        row.state = rest;
        row.text.clear();
        changed_.insert(i);
    }
    return false;
}

// --- what is heard of the files ---

void BatchRun::Started(size_t index) {
    Log(fmt::format("transforming file number = {}\n", index));
    rows_[index].state = BatchRow::State::running;
    changed_.insert(index);
}

void BatchRun::Moved(size_t index, double share, std::string_view part) {
    rows_[index].share = share;
    rows_[index].text = part;
    changed_.insert(index);
}

void BatchRun::TakeText(size_t index, std::string_view text) {
    isCut_ = isCut_ || (!order_.results && textBytes_ + text.size() > mostShownBytes);
    if (isCut_) return;
    textBytes_ += text.size();
    files_[index].text += text;
}

void BatchRun::Finished(size_t index, const FileEnd& end) {
    BatchRow& row = rows_[index];
    File& file = files_[index];
    row.state = StateOf(end.outcome);
    row.share = 1.0;
    row.text = WithoutName(OneLine(end.messages), row.file);
    file.record = end.record;
    file.errors = end.errors;
    if (end.outcome != Outcome::done) file.text.clear();
    changed_.insert(index);
    if (!file.note.empty()) Say(index, file.note.c_str());
}

void BatchRun::Log(std::string_view text) { documents_.GetSession().host.Log(text); }

void BatchRun::Say(size_t index, const char* text) {
    rows_[index].text = rows_[index].text.empty() ? text : text + (" " + rows_[index].text);
    files_[index].errors =
        fmt::format("{}\r\n\t{}\r\n", rows_[index].file.string(), text) + files_[index].errors;
    changed_.insert(index);
}

// --- the end ---

void BatchRun::Conclude() {
    ReplaceShown();
    Session& session = documents_.GetSession();
    if (order_.results)
        SaveResults();
    else if (const std::string text = Results(); !text.empty())
        session.host.ShowText(ResultsTitle(), text);
    if (isCut_) more_ += cutText;
    if (const std::string errors = Errors(); !errors.empty())
        session.host.ShowText(processErrorsTitle, errors);
}

// A window goes on reading the file that it opened, which is not the one that stands there now.
void BatchRun::ReplaceShown() {
    if (order_.plan.keep != Keep::inPlace) return;
    FileSystem& files = documents_.GetSession().files;
    for (size_t i = 0; i < rows_.size(); ++i) {
        if (rows_[i].state != BatchRow::State::done) continue;
        const PlannedFile& planned = order_.plan.files[i];
        CDataDoc* doc = documents_.FindShown(planned.file);
        if (!doc) continue;
        const bool isOld = planned.IsInPlace()
                               ? files.Stamp(doc->filePath) != doc->RememberedStamp(doc->filePath)
                               : shown_.contains(planned.file);
        if (!isOld) continue;
        if (doc->IsModified())
            Say(i, editedMeanwhileText);
        else
            documents_.ReplaceShown(*doc, planned.target);
    }
}

void BatchRun::SaveResults() {
    const std::string text = Results();
    if (text.empty()) {
        more_ += "Nothing was saved.\r\n";
        order_.results.reset();
        return;
    }
    Session& session = documents_.GetSession();
    try {
        WriteFileAtomically(session.files, *order_.results,
                            [&](CArchive& archive) { archive.WriteRaw(std::as_bytes(std::span(text))); });
    } catch (const FileError& error) {
        more_ += fmt::format("The results were not saved.\r\n{}\r\n", error.what());
        order_.results.reset();
        session.host.ShowText(ResultsTitle(), text);
    }
}

double BatchRun::Share() const {
    if (rows_.empty()) return 1.0;
    double sum = 0.0;
    for (const BatchRow& row : rows_) sum += row.share;
    return sum / static_cast<double>(rows_.size());
}

size_t BatchRun::Count(BatchRow::State state) const {
    return static_cast<size_t>(std::ranges::count(rows_, state, &BatchRow::state));
}

std::string BatchRun::DoneText() const {
    const size_t done = Count(BatchRow::State::done);
    std::string text =
        isCancelled_
            ? fmt::format("The batch was cancelled. {} of {} files were processed.", done, rows_.size())
            : fmt::format("The batch is done: {} {} processed", done, done == 1 ? "file" : "files");
    for (const auto state : {BatchRow::State::failed, BatchRow::State::leftOut})
        if (const size_t count = Count(state); count > 0 && !isCancelled_)
            text += fmt::format(", {} {}", count, StateName(state));
    if (!isCancelled_) text += ".";
    if (order_.results && done > 0) text += " The results are in " + order_.results->string() + ".";
    return text;
}

std::string BatchRun::Errors() const {
    std::string errors;
    for (const File& file : files_) errors += file.errors;
    errors += more_;
    if (isCancelled_) errors += DoneText() + "\r\n";
    return errors;
}

std::string BatchRun::Results() const {
    std::string text;
    for (size_t i = 0; i < rows_.size(); ++i)
        if (!files_[i].text.empty())
            text += (text.empty() ? "" : "\r\n") + rows_[i].file.string() + "\r\n" + files_[i].text;
    return text;
}

std::string BatchRun::ResultsTitle() const {
    return order_.list.Count() == 1 ? order_.list.Name(0) : "Results of " + order_.name;
}

std::vector<std::string> BatchRun::Records() const {
    std::vector<std::string> records;
    for (const File& file : files_)
        if (!file.record.empty()) records.push_back(file.record);
    return records;
}

}  // namespace kymora
