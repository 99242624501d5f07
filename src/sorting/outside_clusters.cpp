#include "sorting/outside_clusters.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace kymora {

namespace {

constexpr const char* dataName = "data.txt";
constexpr const char* partitionName = "partition.txt";
constexpr auto askedEvery = std::chrono::milliseconds(50);
constexpr int notFound = 127, notExecutable = 126;  // exit codes of the shell

void WriteMatrix(const std::filesystem::path& path, std::span<const double> rows, size_t columns) {
    std::ofstream file(path, std::ios::binary);
    std::string text;
    for (size_t i = 0; i < rows.size(); ++i) {
        text += fmt::format("{}{}", static_cast<float>(rows[i]), (i + 1) % columns == 0 ? '\n' : '\t');
        if (text.size() < 65536 && i + 1 < rows.size()) continue;
        file << text;
        text.clear();
    }
    file.close();
    if (!file) throw JobRefused(path.string() + " cannot be written.");
}

}  // namespace

OutsideClusters::OutsideClusters(const std::string& command, std::span<const double> rows, size_t columns)
    : count_(rows.size() / columns) {
    if (command.find_first_not_of(" \t") == std::string::npos) throw JobRefused(outsideFailedText);
    std::string name = (std::filesystem::temp_directory_path() / "kymora-clusters-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw JobRefused(outsideFailedText);
    folder_ = name;
    try {
        WriteMatrix(folder_ / dataName, rows, columns);
        Start(command);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        throw;
    }
}

OutsideClusters::~OutsideClusters() {
    if (process_ > 0) {
        ::kill(-process_, SIGKILL);
        while (::waitpid(process_, &status_, 0) < 0 && errno == EINTR) {
        }
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

// In a group of its own, so that what the shell starts can be ended with it.
void OutsideClusters::Start(const std::string& command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (folder_ / partitionName).c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    std::string shell = "/bin/sh", option = "-c", line = command + " \"$1\"", self = "sh",
                data = (folder_ / dataName).string();
    std::array<char*, 6> arguments{shell.data(), option.data(), line.data(),
                                   self.data(),  data.data(),   nullptr};
    const int error =
        ::posix_spawn(&process_, shell.c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return;
    process_ = -1;
    throw JobRefused(outsideFailedText);
}

std::vector<int> OutsideClusters::Take(JobContext& context) {
    ProgressScope progress(context, "Clustering program", 0);
    for (pid_t ended = 0; ended != process_;) {
        ended = ::waitpid(process_, &status_, WNOHANG);
        if (ended < 0 && errno != EINTR) throw JobRefused(noPartitionText);
        if (ended == process_) break;
        progress.At(0);
        std::this_thread::sleep_for(askedEvery);
    }
    process_ = -1;
    const int code = WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
    if (code == notFound || code == notExecutable) throw JobRefused(outsideFailedText);
    if (code != 0) throw JobRefused(noPartitionText);
    std::ifstream file(folder_ / partitionName, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return ParsePartition(text.str(), count_);
}

std::vector<int> ParsePartition(std::string_view text, size_t items) {
    constexpr std::string_view between = " \t\r\n,;";
    std::vector<int> ids;
    for (size_t at = text.find_first_not_of(between); at < text.size();
         at = text.find_first_not_of(between, at)) {
        const std::string_view word = text.substr(at, text.find_first_of(between, at) - at);
        int id = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), id);
        if (error != std::errc() || end != word.data() + word.size() || id < 1)
            throw JobRefused(noPartitionText);
        ids.push_back(id - 1);
        at += word.size();
    }
    if (ids.empty()) throw JobRefused(noPartitionText);
    if (ids.size() != items) throw JobRefused(fmt::format(otherCountText, items, ids.size()));
    // A class for each number up to the greatest is told.
    if (std::ranges::max(ids) >= mostOutsideClasses) throw JobRefused(noPartitionText);
    return ids;
}

}  // namespace kymora
