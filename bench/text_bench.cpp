// Reads text files of numbers, and their bytes plainly, from the page cache; and tells the memory that the
// open recording takes beside its samples.
//
//   text_bench [MEGABYTES]

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>

#include <sys/resource.h>
#include <unistd.h>

#include "bench_files.h"
#include "import/asc_doc.h"

namespace {

constexpr int rounds = 3;

struct Layout {
    const char* name;
    const char* number;  // as printf writes it
    int columns;
    char separator;
    const char* lineEnd;
    bool inRows = false;
};

constexpr Layout layouts[] = {
    {"4 columns of %.6f", "%.6f", 4, '\t', "\n"},     {"the same, CR LF", "%.6f", 4, '\t', "\r\n"},
    {"1 column of %.6f", "%.6f", 1, ',', "\n"},       {"16 columns of %.3f", "%.3f", 16, ',', "\n"},
    {"4 columns of %e", "%e", 4, ',', "\n"},          {"4 columns of %.17g", "%.17g", 4, ',', "\n"},
    {"128 columns of %.4f", "%.4f", 128, '\t', "\n"}, {"4 rows of %.6f", "%.6f", 4, '\t', "\n", true},
};

uint32_t draw = 1;

void Number(std::string& out, const Layout& layout) {
    char text[64];
    draw = draw * 1664525u + 1013904223u;
    std::snprintf(text, sizeof text, layout.number, static_cast<double>(static_cast<int32_t>(draw)) * 4e-10);
    out += text;
}

// The text is one stretch over and over, so that making it takes no longer than reading. Answers its size.
uint64_t WriteFile(const std::filesystem::path& path, const Layout& layout, double megabytes) {
    std::string stretch;
    const int perRow = layout.inRows ? 1000 : layout.columns;
    for (int i = 0; i < 100000 / perRow * perRow; ++i) {
        Number(stretch, layout);
        stretch += layout.separator;
        if (!layout.inRows && i % perRow == perRow - 1)
            stretch.replace(stretch.size() - 1, 1, layout.lineEnd);
    }
    std::ofstream file(path, std::ios::binary);
    const int lines = layout.inRows ? layout.columns : 1;
    const double stretches = megabytes * 1e6 / static_cast<double>(stretch.size());
    for (int line = 0; line < lines; ++line) {
        for (int i = 0; i < std::max(1, static_cast<int>(stretches / lines)); ++i) file << stretch;
        file << layout.lineEnd;
    }
    if (!file) std::exit(1);
    return static_cast<uint64_t>(file.tellp());
}

void PlainRead(const kymora::DataFile& file) {
    std::vector<std::byte> buffer(256 << 10);
    for (uint64_t at = 0; at < file.Length(); at += buffer.size()) file.ReadAt(at, buffer);
}

double ResidentMegabytes() {
    std::ifstream file("/proc/self/statm");
    double total = 0.0, resident = 0.0;
    file >> total >> resident;
    return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

bool Measure(const Layout& layout, double megabytes, const std::filesystem::path& path) {
    const double size = static_cast<double>(WriteFile(path, layout, megabytes)) / 1e6;
    kymora::QuietHost host;
    kymora::DiskFileSystem files;
    kymora::Session session(host, files);
    session.textFile.dataInColumns = !layout.inRows;
    std::optional<kymora::CAscDoc> doc;
    bool opened = true;
    double memory = 0.0;
    const double open = kymora::bench::Seconds(rounds, [&] {
        doc.reset();
        const double before = ResidentMegabytes();
        doc.emplace(session);
        opened &= doc->OnOpenDocument(path, kymora::OpenFor::reading);
        memory = ResidentMegabytes() - before;
    });
    if (!opened) return false;
    const auto file = files.Open(path, kymora::OpenMode::readOnly);
    const double plain = kymora::bench::Seconds(rounds, [&] { PlainRead(*file); });
    const double samples = 4e-6 * static_cast<double>(doc->GetLength() * doc->traceCount);
    std::printf(
        "%-22s %4.0f MB: %4.0f MB/s, plain read %5.0f MB/s, ratio %.3f; samples %.1f MB, memory %.1f MB\n",
        layout.name, size, size / open, size / plain, plain / open, samples, memory);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const double megabytes = argc > 1 ? std::atof(argv[1]) : 200.0;
    const kymora::bench::Folder folder;
    for (const Layout& layout : layouts)
        if (!Measure(layout, megabytes, folder / "bench.txt")) return 1;
    return 0;
}
