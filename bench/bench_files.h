#pragma once
// What the benchmarks share: a stop watch, a folder that goes away, and large native files.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "host/quiet_host.h"

namespace kymora::bench {

// Seconds that `work` takes, the least of `rounds`.
template <typename Work>
double Seconds(int rounds, Work work) {
    double least = 1e300;
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        least = std::min(least, took.count());
    }
    return least;
}

class Folder {
  public:
    Folder()
        : path_(std::filesystem::temp_directory_path() / ("kymora-bench-" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(path_);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::filesystem::path operator/(const char* name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

// The metadata of a recording that has no file yet.
class ModelDoc : public CDataDoc {
  public:
    ModelDoc(Session& session, int traces, int64_t length) : CDataDoc(session) {
        traceCount = traces;
        sampleInterval = 0.05;
        SetLength(length);
    }

  protected:
    void Load() override {}
    void ReadStored(int64_t, std::span<const StoredRead>) override {}
};

// A native file; `sparse` leaves the samples as a hole, otherwise they are noise.
inline void MakeNative(Session& session, const std::filesystem::path& path, int traces, int64_t length,
                       int events, bool sparse) {
    ModelDoc doc(session, traces, length);
    for (int i = 0; i < events; ++i) doc.AddEvent(1, {i * 1000, i * 1000 + 20});
    const auto file = session.files.Open(path, OpenMode::createNew);
    CArchive archive(*file, CArchive::Mode::store, 0, size_t{1} << 20);
    WriteHead(archive, doc);
    archive.Flush();
    const uint64_t samples = static_cast<uint64_t>(traces) * static_cast<uint64_t>(length);
    const uint64_t tail = archive.Position() + samples * sizeof(float);
    if (!sparse) {
        uint32_t state = 1;
        std::vector<float> block(size_t{1} << 16);
        for (uint64_t done = 0; done < samples; done += block.size()) {
            for (float& value : block) {
                state = state * 1664525u + 1013904223u;
                value = static_cast<float>(static_cast<int32_t>(state)) * 1e-9f;
            }
            const size_t n = std::min<uint64_t>(block.size(), samples - done);
            archive.WriteRaw(std::as_bytes(std::span(block.data(), n)));
        }
    }
    archive.Seek(tail);
    WriteTail(archive, doc, "bench");
    archive.Close();
}

}  // namespace kymora::bench
