// Reads raw binary recordings of each type through the document, and their bytes plainly, from the page
// cache; then writes one of them as text.
//
//   binary_bench [MEGABYTES [TRACES]]

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

#include "bench_files.h"
#include "document/text_export.h"
#include "import/binary_doc.h"

namespace {

using namespace kymora;

constexpr int rounds = 7;
constexpr int64_t textRows = 500000;

// Walks of the size that recordings have.
template <typename T>
void WriteNumbers(const std::filesystem::path& path, int64_t bytes, int traces) {
    std::ofstream file(path, std::ios::binary);
    std::vector<T> block(static_cast<size_t>(traces) * 4096);
    uint32_t draw = 1;
    for (int64_t done = 0; done < bytes; done += static_cast<int64_t>(block.size() * sizeof(T))) {
        for (T& number : block) {
            draw = draw * 1664525u + 1013904223u;
            const auto whole = static_cast<int16_t>(draw >> 16);
            number = std::is_integral_v<T> ? static_cast<T>(whole) : static_cast<T>(whole * 0.0137);
        }
        file.write(reinterpret_cast<const char*>(block.data()),
                   static_cast<std::streamsize>(block.size() * sizeof(T)));
    }
    if (!file) std::exit(1);
}

void PlainRead(const DataFile& file) {
    std::vector<std::byte> buffer(1 << 20);
    for (uint64_t at = 0; at < file.Length(); at += buffer.size()) file.ReadAt(at, buffer);
}

// Answers a sum, so that the reading has a use.
double BlockRead(CDataDoc& doc, int traces) {
    constexpr size_t blockLength = 16384;
    double sum = 0.0;
    std::vector<std::vector<float>> values(static_cast<size_t>(traces), std::vector<float>(blockLength));
    std::vector<TraceBlock> blocks;
    for (int t = 0; t < traces; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], {}});
    for (int64_t at = 0; at < doc.GetLength(); at += blockLength) {
        doc.ReadBlocks(at, blocks);
        sum += values[0][0];
    }
    return sum;
}

// The extremes of 4,000 bins of every trace; false from a type that does not fold.
bool Fold(CDataDoc& doc) {
    constexpr int64_t bins = 4000;
    std::vector<std::vector<float>> low(static_cast<size_t>(doc.traceCount), std::vector<float>(bins, 1e38f)),
        high(low.size(), std::vector<float>(bins, -1e38f));
    std::vector<TraceFold> folds;
    for (size_t t = 0; t < low.size(); ++t) folds.push_back({static_cast<int>(t), low[t], high[t], {}});
    return doc.FoldBlocks(0, doc.GetLength(), {0, doc.GetLength() / bins + 1}, folds);
}

void MeasureReads(Session& session, const std::filesystem::path& path, int type, int traces) {
    session.binaryFile = {traces, 0.05, type, true};
    CBinaryDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) std::exit(1);
    const auto file = session.files.Open(path, OpenMode::readOnly);
    const double gigabytes = static_cast<double>(file->Length()) / 1e9;
    double sum = 0.0, whole = 1e300, one = 1e300, fold = 1e300, plain = 1e300;
    bool folds = false;
    // In turn, so that what else the machine does meets all of them.
    for (int round = 0; round < rounds; ++round) {
        plain = std::min(plain, bench::Seconds(1, [&] { PlainRead(*file); }));
        whole = std::min(whole, bench::Seconds(1, [&] { sum += BlockRead(doc, traces); }));
        one = std::min(one, bench::Seconds(1, [&] { sum += BlockRead(doc, 1); }));
        fold = std::min(fold, bench::Seconds(1, [&] { folds = Fold(doc); }));
    }
    std::printf("%-30s x %2d: plain read %5.2f GB/s; ratio of all traces %.2f, of one %.2f",
                std::string(binaryTypes[type].text).c_str(), traces, gigabytes / plain, plain / whole,
                plain / one);
    if (folds) std::printf(", of extremes %.2f", plain / fold);
    std::printf(" (sum %g)\n", sum);
}

void MeasureText(Session& session, const bench::Folder& folder, int traces) {
    const auto path = folder / "text.bin", text = folder / "text.txt";
    WriteNumbers<float>(path, textRows * traces * 4, traces);
    session.binaryFile = {traces, 0.05, 2, true};
    CBinaryDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) std::exit(1);
    const double time = bench::Seconds(3, [&] { WriteTextExport(doc, text); });
    const auto bytes = static_cast<double>(std::filesystem::file_size(text));
    std::printf("text export of %d traces: %.0f MB, %.0f MB/s, with the file brought to the disk\n", traces,
                bytes / 1e6, bytes / time / 1e6);
}

}  // namespace

int main(int argc, char** argv) {
    const int64_t bytes = (argc > 1 ? std::atoi(argv[1]) : 200) * int64_t{1000000};
    const int traces = std::clamp(argc > 2 ? std::atoi(argv[2]) : 12, 1, maxBinaryTraces);
    const bench::Folder folder;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    constexpr void (*writers[])(const std::filesystem::path&, int64_t, int) = {
        WriteNumbers<int16_t>, WriteNumbers<int32_t>, WriteNumbers<float>, WriteNumbers<double>};
    for (int type = 0; type < 4; ++type) {
        const auto path = folder / "bench.bin";
        writers[type](path, bytes, traces);
        MeasureReads(session, path, type, traces);
    }
    MeasureText(session, folder, traces);
    return 0;
}
