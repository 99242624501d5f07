#include "batch/batch_journal.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>

#include "batch/hex_text.h"
#include "host/sha256.h"

namespace kymora {

namespace {

using nlohmann::json;

constexpr const char* ending = ".journal";

// One name for all that lead to a file, links among its folders included.
std::filesystem::path Plain(const std::filesystem::path& path) {
    std::error_code failed;
    // A name without a folder stays one for as long as there is no such file.
    const auto plain = std::filesystem::weakly_canonical(std::filesystem::absolute(path), failed);
    return failed ? path : plain;
}

std::string TextOf(const json& line, const char* key) {
    const auto found = line.find(key);
    return found != line.end() && found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

BatchJournal::BatchJournal(const std::filesystem::path& list) : list_(list), path_(list) {
    path_ += ending;
    std::ifstream file(path_, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        const json parsed = json::parse(line, nullptr, false);
        if (!parsed.is_object()) continue;
        JournalEntry entry{TextOf(parsed, "work"), TextOf(parsed, "source"),
                           FromHex(TextOf(parsed, "target")), TextOf(parsed, "result")};
        if (entry.result.empty()) continue;
        if (const auto found = parsed.find("operations"); found != parsed.end() && found->is_array())
            for (const json& operation : *found)
                if (operation.is_string()) entry.operations.push_back(operation.get<std::string>());
        entries_.push_back(std::move(entry));
    }
}

const JournalEntry* BatchJournal::FindDone(FileSystem& files, const std::string& work,
                                           const std::filesystem::path& target, bool replacesSource,
                                           const std::function<std::string()>& source) const {
    const auto isMeant = [&](const JournalEntry& entry) {
        // What replaced a recording is told by its content alone, whatever it is called by now.
        return entry.work == work && (replacesSource || entry.target == Plain(target));
    };
    if (std::ranges::none_of(entries_, isMeant) || !files.Stamp(target)) return nullptr;
    const std::string now = Sha256Of(*files.Open(target, OpenMode::readOnly));
    std::string sourceNow;
    for (const JournalEntry& entry : entries_) {
        if (!isMeant(entry) || entry.result != now) continue;
        if (replacesSource) return &entry;
        if (sourceNow.empty()) sourceNow = source();
        if (entry.source == sourceNow) return &entry;
    }
    return nullptr;
}

bool BatchJournal::IsResult(FileSystem& files, const std::filesystem::path& target) const {
    const auto isOf = [&](const JournalEntry& entry) { return entry.target == Plain(target); };
    if (std::ranges::none_of(entries_, isOf) || !files.Stamp(target)) return false;
    const std::string now = Sha256Of(*files.Open(target, OpenMode::readOnly));
    return std::ranges::any_of(entries_,
                               [&](const JournalEntry& entry) { return isOf(entry) && entry.result == now; });
}

// In one write behind all that is there, so that the lines of several programs do not mix.
std::optional<std::string> BatchJournal::Note(const JournalEntry& entry, bool replacesSource) {
    if (isBroken_) return {};
    const json line = {{"work", entry.work},
                       {"source", entry.source},
                       {"target", ToHex(Plain(entry.target).string())},
                       {"result", entry.result},
                       {"operations", entry.operations}};
    // A line that was torn before ends here.
    const std::string text = "\n" + line.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    const int handle = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    const ssize_t written = handle >= 0 ? ::write(handle, text.data(), text.size()) : -1;
    const bool isWhole = written == static_cast<ssize_t>(text.size());
    const bool isWritten = isWhole && (!replacesSource || ::fdatasync(handle) == 0);
    const int error = written >= 0 && !isWhole ? ENOSPC : errno;
    if (handle >= 0) ::close(handle);
    if (isWritten) return {};
    isBroken_ = true;
    return fmt::format("The journal {} could not be written: {}. The batch goes on; it cannot be resumed.",
                       path_.string(), std::strerror(error));
}

}  // namespace kymora
