#include "batch/batch_journal.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/sha256.h"

namespace kymora {

namespace {

using nlohmann::json;

constexpr const char* ending = ".journal";

std::filesystem::path Absolute(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::absolute(path, ignored).lexically_normal();
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
        JournalEntry entry{TextOf(parsed, "work"), TextOf(parsed, "source"), TextOf(parsed, "target"),
                           TextOf(parsed, "result")};
        if (!entry.result.empty()) entries_.emplace(entry.target, std::move(entry));
    }
}

bool BatchJournal::IsDone(FileSystem& files, const std::string& work, const std::filesystem::path& source,
                          const std::filesystem::path& target) const {
    const auto [first, last] = entries_.equal_range(Absolute(target));
    if (first == last || !files.Stamp(target)) return false;
    const std::string now = Sha256Of(*files.Open(target, OpenMode::readOnly));
    const bool isItsOwn = Absolute(source) == Absolute(target);
    std::string sourceNow;
    for (auto at = first; at != last; ++at) {
        const JournalEntry& entry = at->second;
        if (entry.work != work || entry.result != now) continue;
        if (isItsOwn) return true;
        if (sourceNow.empty()) sourceNow = Sha256Of(*files.Open(source, OpenMode::readOnly));
        if (entry.source == sourceNow) return true;
    }
    return false;
}

bool BatchJournal::Knows(const std::filesystem::path& target) const {
    return entries_.contains(Absolute(target));
}

// In one write behind all that is there, so that the lines of several programs do not mix.
std::optional<std::string> BatchJournal::Note(const JournalEntry& entry, bool replacesSource) {
    if (isBroken_) return {};
    const auto target = Absolute(entry.target);
    const json line = {{"work", entry.work},
                       {"source", entry.source},
                       {"target", target.string()},
                       {"result", entry.result}};
    // A line that was torn before ends here.
    const std::string text = "\n" + line.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    const int handle = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    bool isWritten =
        handle >= 0 && ::write(handle, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    isWritten = isWritten && (!replacesSource || ::fdatasync(handle) == 0);
    const int error = errno;
    if (handle >= 0) ::close(handle);
    if (isWritten) return {};
    isBroken_ = true;
    return fmt::format("The journal {} could not be written: {}. The batch goes on; it cannot be resumed.",
                       path_.string(), std::strerror(error));
}

}  // namespace kymora
