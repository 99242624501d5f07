#pragma once
// A file that takes its place, or a new name beside it, when it is complete, and leaves nothing behind
// otherwise, whatever ends the program.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "host/file_system.h"

namespace kymora {

// For the log.
inline constexpr const char* noTemporaryNameText = "Couldn't allocate unique temporary file name\n";

// What `target` was to be replaced by stands beside it under a name of its own, since another program changed
// the target meanwhile. The text names both.
class ResultKept : public FileError {
  public:
    explicit ResultKept(const std::filesystem::path& target, const std::filesystem::path& kept);
    std::filesystem::path kept;
};

// "cell7_result.kymr-dat" for "cell7.kymr-dat", or "cell7_result-2.kymr-dat" and so on: the first name that
// is free.
std::filesystem::path FreeResultName(FileSystem& files, const std::filesystem::path& target);

class TemporaryFile {
  public:
    static constexpr const char* start = "dat";
    static constexpr const char* ending = ".kymora-tmp";

    // A file without a name in the folder of `target`, or one with a name and a lock where the system has no
    // such files. Removes what killed programs have left of the latter. A link as target would be replaced
    // itself, so that the caller resolves it before. Throws FileError.
    TemporaryFile(FileSystem& files, const std::filesystem::path& target);
    // Takes over a file without a name that is complete.
    TemporaryFile(FileSystem& files, const std::filesystem::path& target, std::unique_ptr<DataFile> content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    DataFile& File() { return *file_; }
    // "dat<process, hexadecimal>-<n>.kymora-tmp" in the target's folder.
    const std::filesystem::path& Path() const { return path_; }
    // The text of an error with the name that the user knows in the place of the temporary one.
    std::string InWordsOfUser(std::string text, const std::filesystem::path& known) const;

    // The state of the target that may be replaced; without this call the one that it had when this object
    // was made.
    void Expect(const std::optional<FileStamp>& state) { expected_ = state; }

    // Takes the name and the access rights of the target, which it replaces, once all bytes have reached the
    // disk. Throws ResultKept where another version of the target stands there by now, and FileError: it is
    // then still a temporary file, unless it has moved and only the folder could not be made durable.
    void MoveToTarget();
    bool HasMoved() const { return hasMoved_; }

  private:
    void OpenNamed(const DataFile* content);
    bool MayReplace() const;
    void TakeName();
    bool TryTakeTarget();
    std::filesystem::path KeepBeside();

    FileSystem& files_;
    std::filesystem::path target_;
    std::optional<FileStamp> expected_;
    std::filesystem::path path_;
    std::unique_ptr<DataFile> file_;
    bool isNamed_ = false;
    bool hasMoved_ = false;
};

// Removes the temporary files that killed programs have left in a folder. One that is still being written is
// locked; where nobody can hold a lock, nobody can tell, and all stay.
void SweepTemporaries(FileSystem& files, const std::filesystem::path& folder);

// A file for intermediate results in `folder` (an empty one is "."), which is gone when it is closed, also by
// a kill. Throws FileError.
std::unique_ptr<DataFile> OpenScratchFile(FileSystem& files, const std::filesystem::path& folder);

}  // namespace kymora
