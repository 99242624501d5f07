// Vector files of many points, against writing as many bytes to the same disk, and the memory that they take.

#include <fstream>
#include <string>

#include "bench_files.h"
#include "display/kymora_view.h"
#include "display/plot_recording.h"
#include "import/open_document.h"

namespace kymora::bench {
namespace {

constexpr int64_t vectorSamples = 10'000'000;
constexpr int vectorTraces = 2;

class YesHost : public QuietHost {
  public:
    bool Confirm(std::string_view, std::string_view) override { return true; }
};

// The most memory that the process has had, in MB.
double PeakMemory() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.starts_with("VmHWM:")) return std::stod(line.substr(6)) / 1024.0;
    return 0.0;
}

double WriteSeconds(Session& session, const std::filesystem::path& path, uint64_t bytes) {
    const std::vector<std::byte> block(size_t{1} << 16);
    return Seconds(3, [&] {
        WriteFileAtomically(session.files, path, [&](CArchive& archive) {
            for (uint64_t done = 0; done < bytes; done += block.size()) archive.WriteRaw(block);
        });
    });
}

void Report(Session& session, CKymoraView& view, const Folder& folder, const char* name) {
    const std::filesystem::path out = folder / name;
    const double before = PeakMemory();
    const double took = Seconds(3, [&] { SavePicture(view, out); });
    const uint64_t bytes = std::filesystem::file_size(out);
    const double floor = WriteSeconds(session, folder / "floor", bytes);
    const double points = static_cast<double>(vectorSamples) * vectorTraces;
    std::printf(
        "%-8s %6.1f million points a second (goal 10), %5.1f MB, %4.1f of writing the bytes, %5.1f MB "
        "of memory\n",
        name, points / 1e6 / took, static_cast<double>(bytes) / 1e6, took / floor, PeakMemory() - before);
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora;
    using namespace kymora::bench;
    YesHost host;
    DiskFileSystem files;
    Session session(host, files);
    const Folder folder;
    MakeNative(session, folder / "long.kymr-dat", vectorTraces, vectorSamples, 1000, false);
    const auto doc = OpenDocument(session, folder / "long.kymr-dat");
    if (!doc) return 1;
    CKymoraView view(*doc);
    view.OnSize(1600, 900);
    if (!view.OnInitialUpdate(Viewport{0.0, vectorSamples * doc->sampleInterval})) return 1;
    // The noise fills its bands, so that hardly a point lies on the one before.
    for (size_t trace = 0; trace < vectorTraces; ++trace) {
        view.m_axes[trace].m_dMin = -2.2;
        view.m_axes[trace].m_dMax = 2.2;
    }
    for (const char* name : {"a.eps", "a.svg", "a.plt"}) Report(session, view, folder, name);
    return 0;
}
