// Copying the traces that a transform leaves as they are, against the system's own copy of the same bytes.

#include <cstdlib>
#include <fcntl.h>

#include "bench_files.h"

namespace kymora::bench {
namespace {

constexpr int traces = 4;
constexpr int64_t length = 67'108'864;  // 1 GiB in all

struct Handle {
    explicit Handle(const std::filesystem::path& path, int flags)
        : number(::open(path.c_str(), flags, 0666)) {
        if (number < 0) std::abort();
    }
    ~Handle() { ::close(number); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    int number;
};

// The floor: the samples from one file to the same place of the other.
void SystemCopy(const std::filesystem::path& from, const std::filesystem::path& to, uint64_t head,
                uint64_t bytes) {
    const Handle source(from, O_RDONLY), target(to, O_WRONLY | O_CREAT | O_EXCL);
    off64_t in = static_cast<off64_t>(head), out = in;
    for (uint64_t done = 0; done < bytes;) {
        const ssize_t n = ::copy_file_range(source.number, &in, target.number, &out, bytes - done, 0);
        if (n <= 0) std::abort();
        done += static_cast<uint64_t>(n);
    }
    if (::fsync(target.number) != 0) std::abort();
}

void TraceCopy(CFloatDoc& doc, FileSystem& files, const std::filesystem::path& to, uint64_t head) {
    const auto target = files.Open(to, OpenMode::createNew);
    CArchive archive(*target, CArchive::Mode::store, head, 32768);
    for (int t = 0; t < doc.traceCount; ++t) doc.WriteTraceData(archive, t);
    archive.Close();
    target->Sync();
}

void Run(Session& session) {
    const Folder folder;
    const auto source = folder / "source.kymr-dat", copy = folder / "copy";
    MakeNative(session, source, traces, length, 0, false);
    ::sync();
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(source, OpenFor::reading)) std::abort();
    const uint64_t bytes = uint64_t{traces} * static_cast<uint64_t>(length) * sizeof(float);
    const uint64_t head = doc.traceFileOffset[0];
    // Traces that are added make the head longer.
    const uint64_t longerHead = head + 6;
    double system = 1e300, same = 1e300, moved = 1e300;
    const auto once = [&](double& least, auto work) {
        least = std::min(least, Seconds(1, work));
        std::filesystem::remove(copy);
    };
    // By turns, so that a disturbance of the disk meets all.
    for (int round = 0; round < 4; ++round) {
        once(system, [&] { SystemCopy(source, copy, head, bytes); });
        once(same, [&] { TraceCopy(doc, session.files, copy, head); });
        once(moved, [&] { TraceCopy(doc, session.files, copy, longerHead); });
    }
    const double size = static_cast<double>(bytes) / (1 << 20);
    std::printf(
        "copy of %.0f MiB of traces: system %.0f MiB/s, traces %.0f, behind a longer head %.0f; ratio of "
        "the times %.2f and %.2f (goal: near 1)\n",
        size, size / system, size / same, size / moved, same / system, moved / system);
}

}  // namespace
}  // namespace kymora::bench

int main() {
    kymora::QuietHost host;
    kymora::DiskFileSystem files;
    kymora::Session session(host, files);
    kymora::bench::Run(session);
    return 0;
}
