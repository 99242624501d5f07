// Reads an EDF recording of 16 signals at one rate through the document, and its bytes plainly, from the page
// cache.
//
//   edf_bench [MEGABYTES [SIGNALS_READ]]

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/disk_file_system.h"
#include "import/edf_doc.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int signalCount = 16;
constexpr int samplesPerRecord = 1000;
constexpr int rounds = 5;

class SilentHost : public kymora::Host {
  public:
    void Message(std::string_view text, std::string_view) override {
        std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
    }
    bool Confirm(std::string_view, std::string_view) override { return false; }
    bool Notice(std::string_view, std::string_view, std::string_view) override { return true; }
    std::optional<std::filesystem::path> ChooseSaveFile(const kymora::FileRequest&) override {
        return std::nullopt;
    }
    bool AcceptFileDetails(const kymora::FileDetails&, bool&) override { return true; }
    std::unique_ptr<kymora::Progress> StartProgress(std::string_view, uint64_t) override {
        struct Silent : kymora::Progress {
            bool Update(uint64_t) override { return true; }
        };
        return std::make_unique<Silent>();
    }
    void Log(std::string_view) override {}
};

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

double Seconds(Clock::time_point since) {
    return std::chrono::duration<double>(Clock::now() - since).count();
}

double PlainRead(const kymora::DataFile& file) {
    std::vector<std::byte> buffer(1 << 20);
    const auto start = Clock::now();
    for (uint64_t at = 0; at < file.Length(); at += buffer.size()) file.ReadAt(at, buffer);
    return Seconds(start);
}

double BlockRead(kymora::CEDFDoc& doc, int signals, double& check) {
    constexpr size_t blockLength = 16384;
    std::vector<std::vector<float>> values(static_cast<size_t>(signals), std::vector<float>(blockLength));
    const auto start = Clock::now();
    for (int64_t at = 0; at < doc.GetLength(); at += blockLength) {
        std::vector<kymora::TraceBlock> blocks;
        for (int t = 0; t < signals; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], {}});
        doc.ReadBlocks(at, blocks);
        check += values[0][100];
    }
    return Seconds(start);
}

}  // namespace

int main(int argc, char** argv) {
    const int megabytes = argc > 1 ? std::atoi(argv[1]) : 500;
    const int signals = argc > 2 ? std::atoi(argv[2]) : signalCount;
    const auto path = std::filesystem::temp_directory_path() / "kymora_edf_bench.edf";
    const int records = static_cast<int>(megabytes * 1e6 / (2 * signalCount * samplesPerRecord));
    WriteFile(path, records);

    SilentHost host;
    kymora::DiskFileSystem files;
    kymora::Session session(host, files);
    double plain = 1e9, block = 1e9, check = 0.0;
    auto opened = Clock::now();
    kymora::CEDFDoc doc(session);
    const bool good = doc.OnOpenDocument(path, kymora::OpenFor::reading);
    const double openMs = Seconds(opened) * 1e3;
    if (good) {
        const auto file = files.Open(path, kymora::OpenMode::readOnly);
        for (int round = 0; round < rounds; ++round) {
            plain = std::min(plain, PlainRead(*file));
            block = std::min(block, BlockRead(doc, signals, check));
        }
        std::printf("%d MB, %d of %d signals: open %.2f ms, plain read %.2f GB/s, block read %.2f GB/s of "
                    "file bytes, "
                    "ratio %.2f (check %g)\n",
                    megabytes, signals, signalCount, openMs, megabytes / plain / 1e3, megabytes / block / 1e3,
                    plain / block, check);
    }
    std::filesystem::remove(path);
    return good ? 0 : 1;
}
