#include "recording/provisional_tail.h"

#include <utility>

namespace kymora {

std::filesystem::path ProvisionalTailPath(const std::filesystem::path& recording) {
    auto path = recording;
    return path += ".tail";
}

void RemoveProvisionalTail(FileSystem& files, const std::filesystem::path& recording) {
    try {
        if (const auto path = ProvisionalTailPath(recording); files.Stamp(path)) files.Remove(path);
    } catch (const FileError&) {
    }
}

// A name that is taken belongs to a recording that is not there any more.
void ProvisionalTail::Begin(FileSystem& files, const std::filesystem::path& recording) {
    End();
    RemoveProvisionalTail(files, recording);
    try {
        file_ = files.Open(ProvisionalTailPath(recording), OpenMode::createNew);
    } catch (const FileError&) {
    }
}

void ProvisionalTail::End() {
    file_.reset();
    last_.clear();
    isDurable_ = true;
    Set({});
}

void ProvisionalTail::Set(std::vector<std::byte> tail) {
    const std::scoped_lock alone(access_);
    next_ = std::move(tail);
}

void ProvisionalTail::Flush(Durable durable) {
    std::vector<std::byte> tail;
    {
        const std::scoped_lock alone(access_);
        tail = std::exchange(next_, {});
    }
    if (!file_) return;
    try {
        if (!tail.empty() && tail != last_) {
            file_->WriteAt(file_->Length(), tail);
            last_ = std::move(tail);
            isDurable_ = false;
        }
        if (durable == Durable::yes && !isDurable_) file_->Sync();
        isDurable_ = isDurable_ || durable == Durable::yes;
    } catch (const FileError&) {  // nothing is read behind what may be torn
        file_.reset();
    }
}

}  // namespace kymora
