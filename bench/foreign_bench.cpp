// Block reads of the files of other systems through the document, against a plain read of the same bytes,
// from the page cache, and the time that opening takes; then recordings written in the forms of other
// systems, against a copy of the recording by cp.
//
//   foreign_bench [MEGABYTES] [WORD]
//
// With a word only what has it in its name.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "bench_files.h"
#include "exchange/foreign_export.h"
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
        frame.Put(8, static_cast<int32_t>(frameBytes));
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

// 32 channels in one piece, or, of a clock of nanoseconds, a block for each sample.
void WriteNs6(std::ofstream& file, size_t bytes, bool isBySample) {
    constexpr uint32_t channels = 32, headBytes = 314 + 66 * channels;
    Head head(headBytes);
    head.Text(0, isBySample ? "BRSMPGRP" : "NEURALCD").Put<uint8_t>(8, isBySample ? 3 : 2);
    head.Put<uint8_t>(9, isBySample ? 0 : 3).Put(10, headBytes).Put<uint32_t>(286, 1);
    head.Put<uint32_t>(290, isBySample ? 1'000'000'000 : 30000).Put(310, channels);
    for (size_t c = 0; c < channels; ++c) {
        const size_t at = 314 + 66 * c;
        head.Text(at + 4, "c").Text(at + 30, "uV");
        head.Put<int16_t>(at + 22, -32764).Put<int16_t>(at + 24, 32764);
        head.Put<int16_t>(at + 26, -8191).Put<int16_t>(at + 28, 8191);
    }
    head.Write(file);
    const size_t samples = bytes / (2 * channels);
    if (!isBySample) {
        Head block(9);
        block.Put<uint8_t>(0, 1).Put(5, static_cast<uint32_t>(samples)).Write(file);
        return WriteNoise(file, samples * 2 * channels);
    }
    for (size_t s = 0; s < samples; ++s) {
        Head block(13);
        block.Put<uint8_t>(0, 1).Put(1, static_cast<uint64_t>(s) * 1'000'000'000 / 30000).Put<uint32_t>(9, 1);
        block.Write(file);
        WriteNoise(file, 2 * channels);
    }
}

// One channel in records of 512 samples.
void WriteNcs(std::ofstream& file, size_t bytes) {
    Head head(16384);
    head.Text(0, "######## Neuralynx Data File Header\r\n-AcqEntName CSC1\r\n-SamplingFrequency 32000\r\n"
                 "-ADBitVolts 0.000000061\r\n");
    head.Write(file);
    for (size_t record = 0; record < bytes / 1044; ++record) {
        Head start(20);
        start.Put(0, static_cast<uint64_t>(record) * 16000).Put<uint32_t>(12, 32000).Put<uint32_t>(16, 512);
        start.Write(file);
        WriteNoise(file, 1024);
    }
}

// 16 signals of 24 bits in records of a second.
void WriteBdf(std::ofstream& file, size_t bytes) {
    constexpr size_t signals = 16, rate = 2048;
    const size_t records = bytes / (3 * signals * rate);
    std::string head = "\xFF"
                       "BIOSEMI";
    const auto field = [&](std::string text, size_t width) {
        text.resize(width, ' ');
        head += text;
    };
    const auto forAll = [&](const std::string& text, size_t width) {
        for (size_t s = 0; s < signals; ++s) field(text, width);
    };
    field("", 160);
    field("01.01.2612.00.00", 16);
    field(std::to_string(256 * (signals + 1)), 8);
    field("24BIT", 44);
    field(std::to_string(records), 8);
    field("1", 8);
    field(std::to_string(signals), 4);
    forAll("A", 16);
    forAll("", 80);
    forAll("uV", 8);
    forAll("-262144", 8);
    forAll("262143", 8);
    forAll("-8388608", 8);
    forAll("8388607", 8);
    forAll("", 80);
    forAll(std::to_string(rate), 8);
    forAll("", 32);
    file << head;
    WriteNoise(file, records * 3 * signals * rate);
}

class TellingHost : public QuietHost {
  public:
    void Message(std::string_view text, std::string_view) override {
        std::printf("%.*s\n", static_cast<int>(text.size()), text.data());
    }
};

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

// A copy that has reached the disk, as what is written here has.
double CopySeconds(const std::filesystem::path& from, const std::filesystem::path& to) {
    const std::string command =
        "cp '" + from.string() + "' '" + to.string() + "' && sync '" + to.string() + "'";
    double least = 1e300;
    for (int round = 0; round < rounds; ++round) {
        std::filesystem::remove(to);
        least = std::min(least, bench::Seconds(1, [&] {
                             if (std::system(command.c_str()) != 0) std::exit(1);
                         }));
    }
    return least;
}

// A native recording of 8 traces, written in another form.
void MeasureExport(Session& session, const bench::Folder& folder, size_t bytes, const char* name,
                   const char* file, ExportSettings settings) {
    const auto source = folder / "source.kymr-dat", target = folder / file;
    std::filesystem::remove(source);
    bench::MakeNative(session, source, 8, static_cast<int64_t>(bytes / 32), 1000, false);
    const auto doc = OpenDocument(session, source, OpenFor::reading);
    if (!doc) std::exit(1);
    const double copy = CopySeconds(source, folder / "copy");
    double write = 1e300;
    for (int round = 0; round < rounds; ++round) {
        std::filesystem::remove(target);
        write = std::min(write, bench::Seconds(1, [&] { WriteExport(*doc, target, settings); }));
    }
    std::printf("%-32s cp %5.2f GB/s; ratio of writing %.2f\n", name, static_cast<double>(bytes) / 1e9 / copy,
                copy / write);
}

}  // namespace

int main(int argc, char** argv) {
    const auto bytes = static_cast<size_t>(argc > 1 ? std::max(std::atoi(argv[1]), 8) : 200) * 1000000;
    const std::string word = argc > 2 ? argv[2] : "";
    const auto isAsked = [&](const std::string& name) { return name.find(word) != std::string::npos; };
    const bench::Folder folder;
    TellingHost host;
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
        {"Neuralynx, a channel in records", "b.ncs", [&](auto& f) { WriteNcs(f, bytes); }},
        {"Blackrock, 32 channels", "b.ns6", [&](auto& f) { WriteNs6(f, bytes, false); }},
        {"Blackrock, a block per sample", "b.ns6", [&](auto& f) { WriteNs6(f, bytes, true); }},
        {"BDF, 16 signals of 24 bits", "b.bdf", [&](auto& f) { WriteBdf(f, bytes); }},
    };
    for (const auto& kind : kinds) {
        if (!isAsked(kind.name)) continue;
        const auto path = folder / kind.file;
        {
            std::ofstream file(path, std::ios::binary | std::ios::trunc);
            kind.write(file);
            if (!file) return 1;
        }
        Measure(session, path, kind.name);
    }
    const struct {
        const char* name;
        const char* file;
        ExportSettings settings;
    } forms[] = {{"to EDF+, 8 traces", "out.edf", {}},
                 {"to BDF+, 8 traces", "out.bdf", {}},
                 {"to wave audio of floats", "out.wav", {}},
                 {"to wave audio of 16 bits", "out.wav", {WavNumbers::pcm16}}};
    for (const auto& form : forms)
        if (isAsked(form.name)) MeasureExport(session, folder, bytes, form.name, form.file, form.settings);
    if (!isAsked("SpikeGLX, 100 GB of 385 channels")) return 0;
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
