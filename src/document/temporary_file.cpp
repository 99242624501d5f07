#include "document/temporary_file.h"

#include <cerrno>
#include <unistd.h>

#include <fmt/format.h>

namespace kymora {
namespace {

constexpr int mostAttempts = 1000;

}  // namespace

TemporaryFile::TemporaryFile(FileSystem& files, const NameStart& start) : files_(files) {
    for (int attempt = 0; !file_; ++attempt) {
        path_ = start.text + std::to_string(attempt) + ending;
        try {
            file_ = files_.Open(path_, OpenMode::createNew);
        } catch (const FileError& error) {
            if (error.systemError != EEXIST || attempt >= mostAttempts) throw;
        }
    }
}

TemporaryFile::TemporaryFile(FileSystem& files, const std::filesystem::path& target)
    : TemporaryFile(files, NameStart{fmt::format("{}.{}-", target.string(), ::getpid())}) {}

TemporaryFile TemporaryFile::InFolder(FileSystem& files, const std::filesystem::path& folder, Host& host) {
    const auto start = (folder.empty() ? "." : folder) / fmt::format("dat{:x}-", ::getpid());
    try {
        return TemporaryFile(files, NameStart{start.string()});
    } catch (const FileError&) {
        host.Log("Couldn't allocate unique temporary file name\n");
        throw;
    }
}

TemporaryFile::~TemporaryFile() {
    if (!file_) return;
    file_.reset();
    try {
        files_.Remove(path_);
    } catch (const FileError&) {  // nothing is left that could be done about it
    }
}

void TemporaryFile::MoveTo(const std::filesystem::path& target) {
    file_->Sync();
    files_.CopyPermissions(target, path_);
    try {
        files_.Rename(path_, target);
    } catch (const FileError& error) {
        if (error.systemError != EXDEV) throw;
        TemporaryFile copy(files_, target);
        CopyBytes(*file_, 0, copy.File(), 0, file_->Length());
        copy.MoveTo(target);
        return;
    }
    file_.reset();
    files_.SyncFolderOf(target);
}

}  // namespace kymora
