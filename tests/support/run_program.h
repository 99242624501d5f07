#pragma once
// Runs the real program and catches what it says.

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kymora::test {

// A folder that is gone at the end of the test.
class TempFolder {
  public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kymora-test-XXXXXX").string();
        path_ = ::mkdtemp(name.data());
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    const std::filesystem::path& Path() const { return path_; }
    size_t Count() const {
        return static_cast<size_t>(
            std::distance(std::filesystem::directory_iterator(path_), std::filesystem::directory_iterator()));
    }

  private:
    std::filesystem::path path_;
};

inline std::string FileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Whether a process holds a file open in a folder that has no name there: a result that is being written.
inline bool WritesIn(pid_t process, const std::filesystem::path& folder) {
    std::error_code gone;
    const std::filesystem::path handles = "/proc/" + std::to_string(process) + "/fd";
    for (const auto& handle : std::filesystem::directory_iterator(handles, gone)) {
        const std::string file = std::filesystem::read_symlink(handle, gone).string();
        if (file.starts_with((folder / "#").string())) return true;
    }
    return false;
}

struct ProgramResult {
    int code = -1;   // exit code; -1 after a signal or the time limit
    int signal = 0;  // that ended the program
    std::string out;
    std::string err;

    // Every line on standard error is led by the program's name.
    bool ErrorLinesAreLed() const {
        std::istringstream lines(err);
        for (std::string line; std::getline(lines, line);)
            if (line.rfind("kymora: ", 0) != 0) return false;
        return true;
    }
};

struct ProgramSetup {
    std::string stdoutPath;                    // instead of catching it, e.g. "/dev/full"
    bool closeOutputs = false;                 // the program starts without standard output and error
    std::function<bool(pid_t)> interruptWhen;  // polled; SIGINT goes out once when it answers true
    size_t readAtMost = SIZE_MAX;              // then the reader of standard output goes away
    int secondsAllowed = 60;
};

namespace detail {

[[noreturn]] inline void Execute(const std::vector<std::string>& arguments, const ProgramSetup& setup,
                                 int out, int err) {
    // A build machine may run the tests with signals ignored.
    ::signal(SIGINT, SIG_DFL);
    if (!setup.stdoutPath.empty()) out = ::open(setup.stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    if (setup.closeOutputs) {
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
    }
    const char* const other = std::getenv("KYMORA_PROGRAM");
    const char* const program = other ? other : KYMORA_PROGRAM;
    std::vector<char*> argv{const_cast<char*>(program)};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(program, argv.data());
    ::_exit(127);
}

// Appends what is there; false at the end of the stream.
inline bool Drain(int from, std::string& to) {
    char bytes[65536];
    const ssize_t n = ::read(from, bytes, sizeof bytes);
    if (n > 0) to.append(bytes, static_cast<size_t>(n));
    return n > 0;
}

}  // namespace detail

inline ProgramResult RunKymora(const std::vector<std::string>& arguments, const ProgramSetup& setup = {}) {
    int out[2];
    int err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) detail::Execute(arguments, setup, out[1], err[1]);
    ::close(out[1]);
    ::close(err[1]);
    ProgramResult result;
    bool interrupted = false;
    pollfd streams[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    for (int elapsedMs = 0; streams[0].fd >= 0 || streams[1].fd >= 0;) {
        if (::poll(streams, 2, 2) == 0 && ++elapsedMs > setup.secondsAllowed * 500) ::kill(child, SIGKILL);
        for (int i = 0; i < 2; ++i) {
            std::string& text = i == 0 ? result.out : result.err;
            const bool more = streams[i].revents == 0 || detail::Drain(streams[i].fd, text);
            if (more && !(i == 0 && text.size() >= setup.readAtMost)) continue;
            ::close(streams[i].fd);
            streams[i] = {-1, 0, 0};
        }
        if (!interrupted && setup.interruptWhen && setup.interruptWhen(child)) {
            ::kill(child, SIGINT);
            interrupted = true;
        }
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status)) result.code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    return result;
}

}  // namespace kymora::test
