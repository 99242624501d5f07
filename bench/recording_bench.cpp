// Recording files, from the page cache: block reads, and a plain loop that makes floats of as many numbers,
// against a plain read of the same bytes; a part and an append against a copy of as many bytes, and the
// opening of a recording of 100 GB (sparse).
//
//   recording_bench [MEGABYTES]

#include <algorithm>
#include <cstdlib>

#include "bench_files.h"
#include "recording/recording_writer.h"

namespace {

using namespace kymora;

constexpr int readRounds = 7, writeRounds = 3;

// A recording of noise, or one whose samples are a hole.
void MakeRecording(Session& session, const std::filesystem::path& path, RecordingHeader header,
                   uint64_t bytes, bool sparse) {
    const auto file = session.files.Open(path, OpenMode::createNew);
    CArchive archive(*file, CArchive::Mode::store, 0, size_t{1} << 20);
    StoreRecordingHeader(archive, header);
    const auto scans = static_cast<int64_t>(bytes / header.ScanBytes());
    archive.Write<uint32_t>(header.FieldOf(scans));
    const uint64_t end = header.m_nDataStart + static_cast<uint64_t>(scans) * header.ScanBytes();
    std::vector<uint32_t> block(size_t{1} << 16);
    uint32_t state = 1;
    for (uint64_t at = header.m_nDataStart; !sparse && at < end; at += block.size() * sizeof(uint32_t)) {
        for (uint32_t& word : block) word = state = state * 1664525u + 1013904223u;
        archive.WriteRaw(
            std::as_bytes(std::span(block)).first(std::min<uint64_t>(end - at, block.size() * 4)));
    }
    archive.Seek(end);
    bench::ModelDoc model(session, static_cast<int>(header.m_nChannels), scans);
    StoreRecordingTail(archive, model, header, {}, {});
    archive.Close();
}

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

void PlainRead(const DataFile& file) {
    std::vector<std::byte> buffer(1 << 20);
    for (uint64_t at = 0; at < file.Length(); at += buffer.size()) file.ReadAt(at, buffer);
}

// The numbers one after the other, as they stand, without traces or volts.
template <typename T>
double PlainFloats(const DataFile& file) {
    constexpr size_t blockLength = 16384;
    double sum = 0.0;
    std::vector<T> numbers(blockLength);
    std::vector<float> values(blockLength);
    for (uint64_t at = 0; at < file.Length(); at += blockLength * sizeof(T)) {
        file.ReadAt(at, std::as_writable_bytes(std::span(numbers)));
        for (size_t i = 0; i < blockLength; ++i) values[i] = static_cast<float>(numbers[i]);
        sum += values[at % blockLength];
    }
    return sum;
}

void MeasureReads(Session& session, const std::filesystem::path& path, const char* name) {
    CAcqDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) std::exit(1);
    const auto plainFloats = doc.BytesPerSample() == 1   ? PlainFloats<uint8_t>
                             : doc.BytesPerSample() == 2 ? PlainFloats<int16_t>
                                                         : PlainFloats<int32_t>;
    double sum = 0.0, whole = 1e300, plain = 1e300, floats = 1e300;
    for (int round = 0; round < readRounds; ++round) {
        plain = std::min(plain, bench::Seconds(1, [&] { PlainRead(doc.SampleFile()); }));
        whole = std::min(whole, bench::Seconds(1, [&] { sum += BlockRead(doc); }));
        floats = std::min(floats, bench::Seconds(1, [&] { sum += 1e-30 * plainFloats(doc.SampleFile()); }));
    }
    const auto bytes = static_cast<double>(doc.SampleFile().Length());
    std::printf("%-28s x %2d: plain read %5.2f GB/s; block reads at %.2f of it, plain floats %.2f (sum %g)\n",
                name, doc.traceCount, bytes / plain / 1e9, plain / whole, plain / floats, sum);
}

// As `cp` does it, with the sync that makes a result safe.
double Copy(Session& session, const std::filesystem::path& from, const std::filesystem::path& to,
            double share) {
    return bench::Seconds(writeRounds, [&] {
        std::filesystem::remove(to);
        const auto source = session.files.Open(from, OpenMode::readOnly);
        const auto target = session.files.Open(to, OpenMode::createNew);
        CopyBytes(*source, 0, *target, 0,
                  static_cast<uint64_t>(static_cast<double>(source->Length()) * share));
        target->Sync();
    });
}

void MeasureWrites(Session& session, const std::filesystem::path& path, const std::filesystem::path& out) {
    CAcqDoc doc(session), second(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading) || !second.OnOpenDocument(path, OpenFor::reading))
        std::exit(1);
    const double end = doc.GetEndTime();
    const double part = bench::Seconds(writeRounds, [&] {
        WriteRecordingPart(doc, out, {end / 4, 3 * end / 4});
    });
    const double halfCopy = Copy(session, path, out, 0.5);
    const double append = bench::Seconds(writeRounds, [&] { WriteAppended(doc, second, out); });
    const double copy = Copy(session, path, out, 1.0);
    std::printf("a part at %.2f of the speed of a copy of as many bytes, an append at %.2f\n",
                halfCopy / part, 2 * copy / append);
}

}  // namespace

int main(int argc, char** argv) {
    const uint64_t bytes = (argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 400) << 20;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    const bench::Folder folder;
    struct Kind {
        const char* name;
        RecordingType type;
        uint32_t encoding, channels;
        uint16_t width;
    };
    for (const Kind& kind : {Kind{"board, offset binary", RecordingType::board, offsetBinary, 16, 2},
                             {"board, offset binary", RecordingType::board, offsetBinary, 2, 2},
                             {"board, two's complement", RecordingType::board, twosComplement, 16, 2},
                             {"board, four bytes", RecordingType::refractoryManual, wideSamples, 4, 4},
                             {"wave, words", RecordingType::microphone, offsetBinary, 2, 2},
                             {"wave, bytes", RecordingType::microphone, offsetBinary, 1, 1}}) {
        RecordingHeader header;
        header.m_eRecordingType = kind.type;
        header.m_nEncoding = kind.encoding;
        header.m_nChannels = kind.channels;
        header.m_nBytesPerSample = kind.width;
        std::filesystem::remove(folder / "r.kymr-rec");
        MakeRecording(session, folder / "r.kymr-rec", header, bytes, false);
        MeasureReads(session, folder / "r.kymr-rec", kind.name);
    }
    RecordingHeader header;
    std::filesystem::remove(folder / "r.kymr-rec");
    MakeRecording(session, folder / "r.kymr-rec", header, bytes, false);
    MeasureWrites(session, folder / "r.kymr-rec", folder / "out.kymr-rec");
    header.m_nEncoding = wideSamples;
    MakeRecording(session, folder / "large.kymr-rec", header, uint64_t{100} << 30, true);
    const double open = bench::Seconds(readRounds, [&] {
        CAcqDoc doc(session);
        if (!doc.OnOpenDocument(folder / "large.kymr-rec", OpenFor::reading)) std::exit(1);
    });
    std::printf("opening 100 GB: %.1f ms\n", open * 1e3);
    return 0;
}
