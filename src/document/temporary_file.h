#pragma once
// A file that is removed again unless it was moved into its place.

#include <filesystem>
#include <memory>
#include <string>

#include "host/file_system.h"
#include "host/host.h"

namespace kymora {

class TemporaryFile {
  public:
    static constexpr const char* ending = ".tmp";

    // "NAME.<process>-<n>.tmp" beside the file NAME that it is to replace. Throws FileError.
    TemporaryFile(FileSystem& files, const std::filesystem::path& target);
    // "dat<process, hexadecimal>-<n>.tmp" in a folder; an empty one is ".". A failure stands in the log, too.
    static TemporaryFile InFolder(FileSystem& files, const std::filesystem::path& folder, Host& host);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    DataFile& File() { return *file_; }
    const std::filesystem::path& Path() const { return path_; }

    // Gives the file the name and the access rights of `target`, which it replaces, once all its bytes have
    // reached the disk; a target on another disk gets a copy. A link would be replaced itself, so that the
    // caller resolves it before. Throws FileError, and the file is then still a temporary one, unless it has
    // moved and only the folder could not be made durable.
    void MoveTo(const std::filesystem::path& target);
    bool HasMoved() const { return !file_; }

  private:
    struct NameStart {
        std::string text;
    };
    // Takes the first of the names "START<n>.tmp" that is free.
    TemporaryFile(FileSystem& files, const NameStart& start);

    FileSystem& files_;
    std::filesystem::path path_;
    std::unique_ptr<DataFile> file_;
};

}  // namespace kymora
