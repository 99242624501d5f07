#include "operations/batch_base_dlg.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/undo.h"
#include "host/memory_file_system.h"

namespace kymora {

namespace {

constexpr uint32_t baseVersion = 1;

}  // namespace

std::string CBatchBaseDlg::Validate() {
    std::string fault = Params().Fault();
    return fault.empty() ? CheckSettings() : fault;
}

// --- configuration ---

std::string ReadClassName(CArchive& archive) {
    std::string name;
    try {
        if (archive.Remaining() > 0) name = archive.ReadString();
    } catch (const ArchiveError&) {
        return {};
    }
    const bool isName = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    });
    return isName ? name : std::string();
}

void CBatchBaseDlg::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        archive.WriteString(ClassName());
        archive.Write<uint32_t>(baseVersion);
        archive.Write<uint32_t>(m_nPaneState);
        return;
    }
    m_bConfigError = false;
    const std::string name = ReadClassName(archive);
    if (name.empty() || (name != ClassName() && name != OlderClassName())) {
        m_bConfigError = true;
        throw ArchiveError(fmt::format("Unrecognized configuration file format. Expected {} but read {}.",
                                       ClassName(), name.empty() ? "no identifier" : name));
    }
    const auto version = archive.Read<uint32_t>();
    if (version > baseVersion) throw ArchiveError(fmt::format(laterConfigText, ClassName()));
    m_nPaneState = archive.Read<uint32_t>();
}

std::vector<std::byte> CBatchBaseDlg::Settings() {
    MemoryFile file;
    CArchive archive(file, CArchive::Mode::store);
    Serialize(archive);
    archive.Close();
    return file.Bytes();
}

void CBatchBaseDlg::TakeSettings(std::span<const std::byte> record) {
    MemoryFile file;
    file.Bytes().assign(record.begin(), record.end());
    CArchive archive(file, CArchive::Mode::load);
    Serialize(archive);
    if (archive.Remaining() > 0) throw ArchiveError(fmt::format(damagedConfigText, ClassName()));
}

// --- running ---

bool CBatchBaseDlg::Run() {
    const auto job = Prepare();
    return job && Conclude(*job, [&](JobContext& here) { job->Compute(*m_pDoc, here); });
}

bool CBatchBaseDlg::Attempt(const std::function<bool()>& does) {
    m_wasCancelled = false;
    try {
        return does();
    } catch (const Cancelled&) {
        m_wasCancelled = true;
    } catch (const FileError& error) {
        Refuse(error.what());
    } catch (const JobRefused& reason) {
        Refuse(reason.what());
    }
    return false;
}

std::unique_ptr<OperationJob> CBatchBaseDlg::Prepare() {
    if (!m_pDoc) return nullptr;
    if (const std::string fault = Validate(); !fault.empty()) {
        Refuse(fault);
        return nullptr;
    }
    m_written.clear();
    m_draws.emplace(m_pDoc->GetSession());
    ForgetFound();
    std::unique_ptr<OperationJob> job;
    Attempt([&] {
        job = MakeJob();
        for (const int channel : job ? job->writes : std::vector<int>())
            if (m_pDoc->channelsAtWork.contains(channel)) {
                job.reset();
                throw JobRefused(fmt::format(channelAtWorkText, ChannelDisplayName(channel)));
            }
        return job != nullptr;
    });
    // What was refused may have put a parameter right.
    if (!job && WhatItAffects() != Affects::nothing) m_pDoc->UpdateAllViews(UpdateHint::events);
    return job;
}

bool CBatchBaseDlg::Conclude(OperationJob& job, const std::function<void(JobContext&)>& compute) {
    Here here(*this);
    const bool done = Attempt([&] {
        // What is written now would become part of that step, and be put back with it.
        if (m_pDoc->openUndoScope) throw JobRefused(underEditText);
        compute(here);
        return WriteAsOneStep(job);
    });
    const bool changes = WhatItAffects() != Affects::nothing;
    if (done && changes) m_pDoc->OfferChannelsInUse();
    if (changes) m_pDoc->UpdateAllViews(UpdateHint::events);
    return done;
}

bool CBatchBaseDlg::WriteAsOneStep(OperationJob& job) {
    const size_t historyLength = m_pDoc->historyLog.size();
    UndoScope undo(*m_pDoc, Title());
    const auto putBack = [&] {
        undo.PutBack();
        m_pDoc->historyLog.resize(historyLength);
    };
    try {
        if (!Write(job, undo)) {
            putBack();
            return false;
        }
    } catch (...) {
        putBack();
        throw;
    }
    m_written = undo.Channels();
    if (m_pDoc->historyLog.size() > historyLength) {
        undo.NoteInHistory();
        NoteStep(historyLength, job);
    }
    return true;
}

void CBatchBaseDlg::NoteStep(size_t historyLength, const OperationJob& job) {
    const std::string& history = m_pDoc->historyLog;
    // An entry may have ended the line before it.
    const size_t start = history.find_first_not_of("\r\n", historyLength);
    if (start == std::string::npos) return;
    const Session& session = m_pDoc->GetSession();
    m_pDoc->NoteStep({history.substr(start), Title(), RerunSettings(job), session.seed,
                      m_draws ? m_draws->Draws() : HistoryStep::Draws::none});
}

void CBatchBaseDlg::Tell(std::string_view text) {
    if (IsAttended()) return GetHost().Message(text);
    m_pMessages->push_back({RunMessage::From::operation, std::string(text), Title()});
}

void CBatchBaseDlg::Refuse(std::string_view text) {
    if (IsAttended()) return GetHost().Failure(text);
    m_pMessages->push_back({RunMessage::From::refusal, std::string(text), Title()});
}

void CBatchBaseDlg::AppendHistory(std::string_view lines) {
    std::string& history = m_pDoc->historyLog;
    // A recording may come with a history whose last line has no end.
    if (!history.empty() && !history.ends_with('\n')) history += "\r\n\r\n";
    history += fmt::format("{}\r\n{}", Title(), lines);
    while (!history.ends_with("\r\n\r\n")) history += history.ends_with("\r\n") ? "\r\n" : "\r\n\r\n";
}

// --- values of a record ---

void ExchangeInOrder(CArchive& archive, std::vector<int>& numbers) {
    if (archive.IsStoring()) {
        archive.Write<int32_t>(static_cast<int32_t>(numbers.size()));
        for (const int number : numbers) archive.Write<int32_t>(number);
        return;
    }
    numbers.resize(archive.ReadItemCount(sizeof(int32_t), "channels"));
    for (int& number : numbers) number = archive.Read<int32_t>();
}

void Exchange(CArchive& archive, std::vector<int>& numbers) {
    ExchangeInOrder(archive, numbers);
    if (archive.IsStoring()) return;
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

uint32_t ExchangeVersion(CArchive& archive, uint32_t current, std::string_view className) {
    if (archive.IsStoring()) {
        archive.Write<uint32_t>(current);
        return current;
    }
    const auto version = archive.Read<uint32_t>();
    if (version > current) throw ArchiveError(fmt::format(laterConfigText, className));
    return version;
}

}  // namespace kymora
