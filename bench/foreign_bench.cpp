// Block reads of the files of other systems through the document, against a plain read of the same bytes,
// from the page cache; then the time that opening takes.
//
//   foreign_bench [MEGABYTES]

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>

#include "bench_files.h"
#include "import/open_document.h"

namespace {

using namespace kymora;

constexpr int rounds = 7;
constexpr size_t sonBlockBytes = 32768, sonItems = (sonBlockBytes - 20) / 2;

// The head of a file, field by field.
class Head {
  public:
    explicit Head(size_t bytes, bool isBig = false) : bytes_(bytes), isBig_(isBig) {}
    template <typename T>
    Head& Put(size_t at, T value) {
        auto* raw = reinterpret_cast<char*>(&value);
        if (isBig_) std::reverse(raw, raw + sizeof value);
        std::memcpy(&bytes_[at], raw, sizeof value);
        return *this;
    }
    Head& Text(size_t at, std::string_view text) {
        std::copy(text.begin(), text.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
        return *this;
    }
    void Write(std::ofstream& file) const {
        file.write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    }

  private:
    std::vector<char> bytes_;
    bool isBig_;
};

void WriteNoise(std::ofstream& file, size_t bytes) {
    static const std::vector<char> noise = [] {
        std::vector<char> made(1 << 16);
        uint32_t draw = 1;
        for (char& byte : made) byte = static_cast<char>((draw = draw * 1664525u + 1013904223u) >> 24);
        return made;
    }();
    for (; bytes > 0; bytes -= std::min(bytes, noise.size()))
        file.write(noise.data(), static_cast<std::streamsize>(std::min(bytes, noise.size())));
}

// Single precision numbers, which noise would not be.
void WriteFloats(std::ofstream& file, size_t count) {
    std::vector<float> values(1 << 14);
    for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<float>(i % 1000) * 0.01f;
    for (; count > 0; count -= std::min(count, values.size()))
        file.write(reinterpret_cast<const char*>(values.data()),
                   static_cast<std::streamsize>(4 * std::min(count, values.size())));
}

void WriteAbf(std::ofstream& file, size_t bytes, bool isFloat, int channels, float offset = 0.0f) {
    const auto count = static_cast<int64_t>(bytes / (isFloat ? 4 : 2));
    Head head(20 * 512);
    head.Text(0, "ABF2").Put<uint16_t>(30, isFloat ? 1 : 0).Put<uint32_t>(76, 1).Put<uint32_t>(80, 512);
    head.Put<int64_t>(84, 1).Put<uint32_t>(92, 2).Put<uint32_t>(96, 128).Put<int64_t>(100, channels);
    head.Put<uint32_t>(236, 20)
        .Put<uint32_t>(240, isFloat ? 4 : 2)
        .Put<int64_t>(244, count / channels * channels);
    head.Put<int16_t>(512, 3).Put(514, 50.0f).Put(512 + 110, 10.0f).Put<int32_t>(512 + 118, 32768);
    for (size_t c = 0; c < static_cast<size_t>(channels); ++c)
        head.Put(1024 + 128 * c + 28, 1.0f).Put(1024 + 128 * c + 40, 0.05f).Put(1024 + 128 * c + 44, offset);
    head.Write(file);
    isFloat ? WriteFloats(file, static_cast<size_t>(count)) : WriteNoise(file, bytes);
}

// Blocks of the channels in turn.
void WriteSon(std::ofstream& file, size_t bytes, int channels) {
    constexpr size_t headBytes = 512 + 4608;
    const size_t blocks = std::min<size_t>(bytes / sonBlockBytes / static_cast<size_t>(channels), 65535);
    Head head(headBytes);
    head.Put<int16_t>(0, 6).Text(2, "(C) CED 87").Put<uint16_t>(20, 10).Put<int16_t>(30, 32).Put(44, 1e-6);
    const auto place = [&](size_t block, size_t c) {
        return static_cast<int32_t>(headBytes + (block * static_cast<size_t>(channels) + c) * sonBlockBytes);
    };
    for (size_t c = 0; c < static_cast<size_t>(channels); ++c) {
        const size_t at = 512 + 140 * c;
        head.Put<int32_t>(at + 6, place(0, c))
            .Put(at + 14, static_cast<uint16_t>(blocks))
            .Put<int32_t>(at + 102, 4);
        head.Put<uint8_t>(at + 122, 1).Put(at + 124, 2.5f);
    }
    head.Write(file);
    for (size_t b = 0; b < blocks; ++b)
        for (size_t c = 0; c < static_cast<size_t>(channels); ++c) {
            const auto start = static_cast<int32_t>(b * sonItems * 4);
            Head block(20);
            block.Put<int32_t>(4, b + 1 < blocks ? place(b + 1, c) : -1).Put(8, start);
            block.Put(12, static_cast<int32_t>(start + (sonItems - 1) * 4))
                .Put(18, static_cast<uint16_t>(sonItems));
            block.Write(file);
            WriteNoise(file, sonBlockBytes - 20);
        }
}

void WriteCfs(std::ofstream& file, size_t bytes, int channels) {
    constexpr size_t frameBytes = 4 << 20;
    const auto count = static_cast<size_t>(channels);
    const size_t headBytes = 178 + 48 * count + 72, section = 30 + 24 * count, frames = bytes / frameBytes;
    const size_t points = frameBytes / (2 * count);
    Head head(headBytes);
    head.Text(0, "CEDFILE\"")
        .Put(42, static_cast<int16_t>(channels))
        .Put(48, static_cast<uint16_t>(headBytes));
    head.Put(50, static_cast<uint16_t>(section)).Put(56, static_cast<uint16_t>(frames));
    head.Put(52, static_cast<int32_t>(headBytes + frames * frameBytes + (frames - 1) * section));
    for (size_t c = 0; c < count; ++c)
        head.Text(178 + 48 * c + 32, "\1s")
            .Put<uint8_t>(178 + 48 * c + 42, 2)
            .Put(178 + 48 * c + 44, static_cast<int16_t>(2 * channels));
    head.Write(file);
    size_t at = headBytes;
    for (size_t f = 0; f < frames; ++f) {
        WriteNoise(file, frameBytes);
        Head frame(section);
        frame.Put(0, static_cast<int32_t>(f == 0 ? 0 : at - section)).Put(4, static_cast<int32_t>(at));
        for (size_t c = 0; c < count; ++c)
            frame.Put(30 + 24 * c, static_cast<int32_t>(2 * c))
                .Put(34 + 24 * c, static_cast<int32_t>(points))
                .Put(38 + 24 * c, 0.5f)
                .Put(46 + 24 * c, 1e-4f);
        frame.Write(file);
        at += frameBytes + section;
    }
}

void WriteWav(std::ofstream& file, size_t bytes, int sampleBytes, int channels) {
    Head head(44);
    head.Text(0, "RIFF")
        .Text(8, "WAVEfmt ")
        .Put<uint32_t>(16, 16)
        .Put<int16_t>(20, 1)
        .Put(22, static_cast<int16_t>(channels));
    head.Put<uint32_t>(24, 44100).Put(32, static_cast<int16_t>(sampleBytes * channels));
    head.Put(34, static_cast<int16_t>(8 * sampleBytes))
        .Text(36, "data")
        .Put(40, static_cast<uint32_t>(bytes));
    head.Write(file);
    WriteNoise(file, bytes);
}

void WriteAxograph(std::ofstream& file, size_t bytes, int channels) {
    const size_t points = bytes / 2 / static_cast<size_t>(channels);
    Head head(40, true);
    head.Text(0, "axgx")
        .Put<int32_t>(4, 4)
        .Put(8, channels + 1)
        .Put(12, static_cast<int32_t>(points))
        .Put<int32_t>(16, 9);
    head.Put(32, 1e-4).Write(file);
    for (int c = 0; c < channels; ++c) {
        Head column(28, true);
        column.Put(0, static_cast<int32_t>(points)).Put<int32_t>(4, 10).Put(12, 0.5).Write(file);
        WriteNoise(file, 2 * points);
    }
}

void WriteWdq(std::ofstream& file, size_t bytes, bool isFine, int channels) {
    Head head(1156);
    head.Put(0, static_cast<uint16_t>(channels))
        .Put<uint8_t>(4, 110)
        .Put<uint8_t>(5, 36)
        .Put<int16_t>(6, 1156);
    head.Put(8, static_cast<uint32_t>(bytes))
        .Put(28, 1e-3)
        .Put<uint16_t>(100, isFine ? 2 : 0)
        .Put<uint16_t>(1154, 0x8001);
    for (size_t c = 0; c < static_cast<size_t>(channels); ++c) head.Put(110 + 36 * c + 8, 0.01);
    head.Write(file);
    WriteNoise(file, bytes);
}

// A probe of 16-bit channels and the text that tells so.
void WriteGlxMeta(const std::filesystem::path& path, int channels) {
    std::ofstream(path)
        << "typeThis=imec\nnSavedChans=" << channels
        << "\nimSampRate=30000\nimDatPrb_type=2013\nimMaxInt=2048\nimChan0apGain=100\nsnsApLfSy=" << channels
        << ",0,0\nacqApLfSy=" << channels << ",0,0\n";
}

// 64 amplifiers in blocks of 128 samples without a gap.
void WriteRhd(std::ofstream& file, size_t bytes) {
    constexpr int channels = 64;
    Head head(84 + channels * 40);
    head.Put(0, 0xC6912702u).Put<int16_t>(4, 2).Put(8, 30000.0f);
    head.Put<int16_t>(68, 1).Put<int16_t>(78, 1).Put<int16_t>(80, channels).Put<int16_t>(82, channels);
    for (size_t c = 0; c < channels; ++c) {
        const size_t at = 84 + 40 * c;
        head.Put<int32_t>(at, 4).Put<int16_t>(at + 4, 'A').Put(at + 6, static_cast<int16_t>('0' + c));
        head.Put<int16_t>(at + 18, 1);
    }
    head.Write(file);
    for (int32_t block = 0; static_cast<size_t>(block) * 128 * 2 * channels < bytes; ++block) {
        int32_t times[128];
        for (int32_t i = 0; i < 128; ++i) times[i] = 128 * block + i;
        file.write(reinterpret_cast<const char*>(times), sizeof times);
        WriteNoise(file, 128 * 2 * channels);
    }
}

void PlainRead(const DataFile& file) {
    std::vector<std::byte> buffer(1 << 20);
    for (uint64_t at = 0; at < file.Length(); at += buffer.size()) file.ReadAt(at, buffer);
}

// Answers a sum, so that the reading has a use.
double BlockRead(CDataDoc& doc) {
    constexpr size_t blockLength = 16384;
    double sum = 0.0;
    std::vector<std::vector<float>> values(static_cast<size_t>(doc.traceCount),
                                           std::vector<float>(blockLength));
    std::vector<TraceBlock> blocks;
    for (int t = 0; t < doc.traceCount; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], {}});
    for (int64_t at = 0; at < doc.GetLength(); at += blockLength) {
        doc.ReadBlocks(at, blocks);
        sum += values[0][0];
    }
    return sum;
}

void Measure(Session& session, const std::filesystem::path& path, const char* name) {
    std::unique_ptr<CDataDoc> doc;
    const double opening = bench::Seconds(3, [&] { doc = OpenDocument(session, path, OpenFor::reading); });
    if (!doc) std::exit(1);
    const auto file = session.files.Open(path, OpenMode::readOnly);
    double sum = 0.0, block = 1e300, plain = 1e300;
    for (int round = 0; round < rounds; ++round) {
        plain = std::min(plain, bench::Seconds(1, [&] { PlainRead(*file); }));
        block = std::min(block, bench::Seconds(1, [&] { sum += BlockRead(*doc); }));
    }
    std::printf("%-32s plain read %5.2f GB/s; ratio of block reads %.2f; opened in %.2f ms (sum %g)\n", name,
                static_cast<double>(file->Length()) / 1e9 / plain, plain / block, opening * 1e3, sum);
}

}  // namespace

int main(int argc, char** argv) {
    const auto bytes = static_cast<size_t>(argc > 1 ? std::max(std::atoi(argv[1]), 8) : 200) * 1000000;
    const bench::Folder folder;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    const struct {
        const char* name;
        const char* file;
        std::function<void(std::ofstream&)> write;
    } kinds[] = {
        {"Spike2, 8 channels", "b.smr", [&](auto& f) { WriteSon(f, bytes, 8); }},
        {"CFS, 4 channels of 16 bits", "b.cfs", [&](auto& f) { WriteCfs(f, bytes, 4); }},
        {"Axon, 4 channels of 16 bits", "b.abf", [&](auto& f) { WriteAbf(f, bytes, false, 4); }},
        {"Axon, 4 channels with an offset", "b.abf", [&](auto& f) { WriteAbf(f, bytes, false, 4, 1.5f); }},
        {"Axon, 2 channels of floats", "b.abf", [&](auto& f) { WriteAbf(f, bytes, true, 2); }},
        {"wave, stereo of 16 bits", "b.wav", [&](auto& f) { WriteWav(f, bytes, 2, 2); }},
        {"wave, stereo of 24 bits", "b.wav", [&](auto& f) { WriteWav(f, bytes, 3, 2); }},
        {"AxoGraph X, 4 scaled columns", "b.axgx", [&](auto& f) { WriteAxograph(f, bytes, 4); }},
        {"WinDaq, 8 channels of 14 bits", "b.wdq", [&](auto& f) { WriteWdq(f, bytes, false, 8); }},
        {"WinDaq, 8 channels of 16 bits", "b.wdq", [&](auto& f) { WriteWdq(f, bytes, true, 8); }},
        {"SpikeGLX, 16 channels", "b.ap.bin",
         [&](auto& f) { WriteNoise(f, bytes), WriteGlxMeta(folder / "b.ap.meta", 16); }},
        {"SpikeGLX, 128 channels", "b.ap.bin",
         [&](auto& f) { WriteNoise(f, bytes), WriteGlxMeta(folder / "b.ap.meta", 128); }},
        {"SpikeGLX, 128 of 384 channels", "b.ap.bin",
         [&](auto& f) { WriteNoise(f, bytes), WriteGlxMeta(folder / "b.ap.meta", 384); }},
        {"Intan, 64 channels in blocks", "b.rhd", [&](auto& f) { WriteRhd(f, bytes); }},
    };
    for (const auto& kind : kinds) {
        const auto path = folder / kind.file;
        {
            std::ofstream file(path, std::ios::binary | std::ios::trunc);
            kind.write(file);
            if (!file) return 1;
        }
        Measure(session, path, kind.name);
    }
    const auto sparse = folder / "sparse.ap.bin";
    std::ofstream(sparse, std::ios::binary).put('\0');
    std::filesystem::resize_file(sparse, 100'000'000'000);
    WriteGlxMeta(folder / "sparse.ap.meta", 385);
    std::unique_ptr<CDataDoc> doc;
    const double opening = bench::Seconds(3, [&] { doc = OpenDocument(session, sparse, OpenFor::reading); });
    if (!doc) return 1;
    std::printf("%-32s opened in %.2f ms\n", "SpikeGLX, 100 GB of 385 channels", opening * 1e3);
    return 0;
}
