#include "import/joined_files.h"

#include <algorithm>

namespace kymora {

uint64_t JoinedFiles::Add(std::unique_ptr<DataFile> file, uint64_t from, uint64_t to) {
    const uint64_t start = length_, end = std::min(to, file->Length());
    const uint64_t length = end - std::min(from, end);
    parts_.push_back({std::move(file), start, length, from});
    length_ += length;
    return start;
}

// What a file has lost since is not made up by the next one.
size_t JoinedFiles::ReadAt(uint64_t offset, std::span<std::byte> to) const {
    size_t done = 0;
    auto part = std::upper_bound(parts_.begin(), parts_.end(), offset,
                                 [](uint64_t at, const Part& p) { return at < p.start + p.length; });
    for (; part != parts_.end() && done < to.size(); ++part) {
        const uint64_t at = offset + done - part->start;
        const auto n = static_cast<size_t>(std::min<uint64_t>(part->length - at, to.size() - done));
        const size_t got = part->file->ReadAt(part->from + at, to.subspan(done, n));
        done += got;
        if (got < n) break;
    }
    return done;
}

void JoinedFiles::WriteAt(uint64_t, std::span<const std::byte>) {
    throw FileError("Joined files are only read", 0);
}

void JoinedFiles::Truncate(uint64_t) { throw FileError("Joined files are only read", 0); }

FileStamp JoinedFiles::Stamp() const { return parts_.empty() ? FileStamp() : parts_[0].file->Stamp(); }

}  // namespace kymora
