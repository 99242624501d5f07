#include "batch/history_chain.h"

#include <fmt/format.h>

#include "host/memory_file_system.h"

namespace kymora {

namespace {

// Throws ArchiveError with the words for the user.
std::unique_ptr<CBatchBaseDlg> ItemOf(const HistoryEntry& entry) {
    if (!entry.step) throw ArchiveError("it is no operation whose exact settings are kept.");
    if (entry.step->settings.empty())
        throw ArchiveError("it took something from the view or the clipboard that no settings can name.");
    MemoryFile file;
    file.Bytes() = entry.step->settings;
    CArchive archive(file, CArchive::Mode::load);
    return ReadItem(archive, ClassNameOf(entry.step->settings));
}

// The draws of a batch begin with its seed in each operation.
void FollowDraws(HistoryChain& chain, const HistoryStep& step, const std::string& name) {
    if (step.draws == HistoryStep::Draws::none) return;
    const bool isFirst = !chain.seed && step.draws == HistoryStep::Draws::fromSeed;
    if (isFirst) chain.seed = step.seed;
    if (step.draws == HistoryStep::Draws::furtherOn || chain.seed != step.seed)
        chain.otherDraws.push_back(name + "its random draws cannot be given again; a batch draws others.");
}

}  // namespace

std::string ClassNameOf(std::span<const std::byte> record) {
    MemoryFile file;
    file.Bytes().assign(record.begin(), record.end());
    CArchive archive(file, CArchive::Mode::load);
    return ReadClassName(archive);
}

HistoryChain ChainOfHistory(const std::vector<HistoryEntry>& entries) {
    HistoryChain chain;
    for (size_t i = 0; i < entries.size(); ++i) {
        const HistoryEntry& entry = entries[i];
        if (entry.isNote || entry.isUndone) continue;
        const std::string name = fmt::format("Entry {}, \"{}\": ", i + 1, entry.title);
        try {
            chain.list.Add(ItemOf(entry));
            FollowDraws(chain, *entry.step, name);
        } catch (const ArchiveError& error) {
            chain.leftOut.push_back(name + error.what());
        }
    }
    return chain;
}

}  // namespace kymora
