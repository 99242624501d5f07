// Reads an EDF recording of 16 signals at one rate through the document, and its bytes plainly, from the page
// cache.
//
//   edf_bench [MEGABYTES [SIGNALS_READ]]

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>

#include "bench_files.h"
#include "import/edf_doc.h"

namespace {

constexpr int signalCount = 16;
constexpr int samplesPerRecord = 1000;
constexpr int rounds = 5;

void Field(std::string& out, std::string text, size_t width) {
    text.resize(width, ' ');
    out += text;
}

std::string Header(int records) {
    std::string out;
    Field(out, "0", 8);
    Field(out, "", 160);
    Field(out, "01.01.0000.00.00", 16);
    Field(out, std::to_string(256 * (signalCount + 1)), 8);
    Field(out, "", 44);
    Field(out, std::to_string(records), 8);
    Field(out, "1", 8);
    Field(out, std::to_string(signalCount), 4);
    const std::pair<const char*, size_t> fields[] = {
        {"EEG", 16},   {"", 80},     {"uV", 8}, {"-3276.8", 8}, {"3276.7", 8},
        {"-32768", 8}, {"32767", 8}, {"", 80},  {"1000", 8},    {"", 32}};
    for (const auto& [text, width] : fields)
        for (int i = 0; i < signalCount; ++i) Field(out, text, width);
    return out;
}

void WriteFile(const std::filesystem::path& path, int records) {
    std::ofstream file(path, std::ios::binary);
    file << Header(records);
    std::vector<int16_t> record(signalCount * samplesPerRecord);
    uint32_t draw = 1;
    for (int r = 0; r < records; ++r) {
        for (int16_t& sample : record)
            sample = static_cast<int16_t>((draw = draw * 1664525u + 1013904223u) >> 16);
        file.write(reinterpret_cast<const char*>(record.data()),
                   static_cast<std::streamsize>(2 * record.size()));
    }
    if (!file) std::exit(1);
}

void PlainRead(const kymora::DataFile& file) {
    std::vector<std::byte> buffer(1 << 20);
    for (uint64_t at = 0; at < file.Length(); at += buffer.size()) file.ReadAt(at, buffer);
}

// Answers a sum, so that the reading has a use.
double BlockRead(kymora::CEDFDoc& doc, int signals) {
    constexpr size_t blockLength = 16384;
    double sum = 0.0;
    std::vector<std::vector<float>> values(static_cast<size_t>(signals), std::vector<float>(blockLength));
    std::vector<kymora::TraceBlock> blocks;
    for (int t = 0; t < signals; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], {}});
    for (int64_t at = 0; at < doc.GetLength(); at += blockLength) {
        doc.ReadBlocks(at, blocks);
        sum += values[0][0];
    }
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    const int megabytes = argc > 1 ? std::atoi(argv[1]) : 500;
    const int signals = std::clamp(argc > 2 ? std::atoi(argv[2]) : signalCount, 1, signalCount);
    const kymora::bench::Folder folder;
    const auto path = folder / "bench.edf";
    WriteFile(path, static_cast<int>(megabytes * 1e6 / (2 * signalCount * samplesPerRecord)));

    kymora::QuietHost host;
    kymora::DiskFileSystem files;
    kymora::Session session(host, files);
    std::optional<kymora::CEDFDoc> doc;
    bool opened = false;
    const double openTime = kymora::bench::Seconds(rounds, [&] {
        doc.emplace(session);
        opened = doc->OnOpenDocument(path, kymora::OpenFor::reading);
    });
    if (!opened) return 1;
    const auto file = files.Open(path, kymora::OpenMode::readOnly);
    double sum = 0.0;
    const double plain = kymora::bench::Seconds(rounds, [&] { PlainRead(*file); });
    const double block = kymora::bench::Seconds(rounds, [&] { sum += BlockRead(*doc, signals); });
    std::printf(
        "%d MB, %d of %d signals: open %.2f ms, plain read %.2f GB/s, block read %.2f GB/s of the file's "
        "bytes, ratio %.2f (sum %g)\n",
        megabytes, signals, signalCount, openTime * 1e3, megabytes / plain / 1e3, megabytes / block / 1e3,
        plain / block, sum);
    return 0;
}
