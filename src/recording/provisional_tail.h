#pragma once
// The tail of a recording that is being made, in a file beside its samples, for who opens what a crash has
// left. Each change puts a whole tail behind those before it; the last whole one counts. It is there for the
// user's comfort: where it cannot be written, the recording goes on without it.

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// Beside a recording's temporary file.
std::filesystem::path ProvisionalTailPath(const std::filesystem::path& recording);
// Nothing where there is none, or it cannot be removed.
void RemoveProvisionalTail(FileSystem& files, const std::filesystem::path& recording);

class ProvisionalTail {
  public:
    enum class Durable { no, yes };

    // Makes the file. One that is there already is another recording's that has gone.
    void Begin(FileSystem& files, const std::filesystem::path& recording);
    // Writes no more.
    void End();
    // What is written next; beside a Flush on another thread, for which it does not wait.
    void Set(std::vector<std::byte> tail);
    // Writes what was set.
    void Flush(Durable durable);

  private:
    std::mutex access_;  // to next_
    std::vector<std::byte> next_;
    std::vector<std::byte> last_;  // that was written
    bool isDurable_ = true;        // what was written has reached the disk
    std::unique_ptr<DataFile> file_;
};

}  // namespace kymora
