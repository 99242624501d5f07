// What every format that can be read has to keep: one script over the samples of all of them.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/info_json.h"
#include "document/side_car.h"
#include "host/disk_file_system.h"
#include "host/file_names.h"
#include "host/memory_file_system.h"
#include "import/foreign_samples.h"
#include "import/formats.h"
#include "import/nwb_samples.h"
#include "import/open_document.h"
#include "import/second_look.h"
#include "import/stream_samples.h"
#include "results/archive_output.h"
#include "support/fold_check.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

// To the digits of single precision.
bool Same(float a, float b) {
    return a == b || std::fabs(a - b) <= 2.4e-7f * std::fabs(b) || (std::isnan(a) && std::isnan(b));
}

std::string TextOf(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// One sample in a file system of its own.
struct Bench {
    explicit Bench(const FormatSample& sample) : sample(sample), path("/" + sample.fileName) {
        files.Put(path, sample.bytes);
        for (const auto& [name, bytes] : sample.beside) files.Put("/" + name, bytes);
    }
    OpenRequest Request(OpenFor purpose = OpenFor::editing, OpenTalk talk = OpenTalk::tells) const {
        return {purpose, talk, sample.settings};
    }
    std::unique_ptr<CDataDoc> Open(OpenFor purpose = OpenFor::editing) {
        auto doc = OpenDocument(session, path, Request(purpose));
        EXPECT_TRUE(doc) << host.LastMessage();
        EXPECT_TRUE(host.WasSilent()) << host.LastMessage();
        return doc;
    }
    int64_t Length() const { return static_cast<int64_t>(sample.values[0].size()); }
    // What a reader gives for a position, wherever that lies.
    float Expected(const CDataDoc& doc, int trace, int64_t at) const {
        if (at < 0 || at >= Length()) return std::numeric_limits<float>::quiet_NaN();
        const float value = sample.values[static_cast<size_t>(trace)][static_cast<size_t>(at)];
        if (value == inGap) return 0.0f;
        return static_cast<float>(value / doc.traces[static_cast<size_t>(trace)].traceGain);
    }
    bool IsValid(int trace, int64_t at) const {
        return at >= 0 && at < Length() &&
               sample.values[static_cast<size_t>(trace)][static_cast<size_t>(at)] != inGap;
    }
    // Some traces, one of them twice, by one block read.
    void CheckBlocks(CDataDoc& doc, int64_t from, size_t count) const {
        std::vector<std::vector<float>> values(static_cast<size_t>(doc.traceCount) + 1,
                                               std::vector<float>(count, -77.0f));
        std::vector<std::vector<uint8_t>> valid(values.size(), std::vector<uint8_t>(count, 9));
        std::vector<TraceBlock> blocks;
        for (size_t i = 0; i < values.size(); ++i)
            blocks.push_back({static_cast<int>((i + static_cast<size_t>(std::max<int64_t>(from, 0))) %
                                               static_cast<size_t>(doc.traceCount)),
                              values[i], valid[i]});
        doc.ReadBlocks(from, blocks);
        for (const TraceBlock& block : blocks)
            for (size_t i = 0; i < count; ++i) {
                const int64_t at = from + static_cast<int64_t>(i);
                ASSERT_TRUE(Same(block.values[i], Expected(doc, block.trace, at)))
                    << "trace " << block.trace << " from " << from << " at " << at << ": " << block.values[i];
                ASSERT_EQ(block.valid[i] != 0, IsValid(block.trace, at)) << block.trace << " at " << at;
            }
    }
    void CheckWhole(CDataDoc& doc) const {
        ASSERT_EQ(doc.traceCount, static_cast<int>(sample.values.size()));
        ASSERT_EQ(doc.GetLength(), Length());
        EXPECT_DOUBLE_EQ(doc.sampleInterval, sample.interval);
        CheckBlocks(doc, 0, static_cast<size_t>(Length()));
    }

    const FormatSample& sample;
    const std::filesystem::path path;
    const std::filesystem::path sideCar = NameInstead(path, ".kymr-hdr");
    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
};

// Runs part of the script over all samples.
void ForEachSample(const std::function<void(Bench&, const Format&)>& run) {
    for (const Format& format : Formats()) {
        if (!format.reader.make || format.fileType == noFileType) continue;
        auto samples = SamplesOfFormat(format.className);
        if (samples.empty()) samples = ForeignSamples(format.className);
        if (samples.empty()) samples = StreamSamples(format.className);
        if (format.fileType == typeNwb) samples = {NwbSample(false), NwbSample(true)};
        EXPECT_FALSE(samples.empty()) << "no sample of " << format.className;
        for (const FormatSample& sample : samples) {
            SCOPED_TRACE(sample.name);
            Bench bench(sample);
            EXPECT_EQ(FindFormat(bench.path).format, &format);
            run(bench, format);
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(FormatConformance, EveryFaceTellsTheSame) {
    ForEachSample([](Bench& bench, const Format& format) {
        const auto doc = bench.Open();
        ASSERT_TRUE(doc);
        ASSERT_EQ(doc->GetFileType(), format.fileType);
        EXPECT_FALSE(doc->IsModified() || doc->noData);
        bench.CheckWhole(*doc);
        MemoryFile file;
        CArchive archive(file, CArchive::Mode::store);
        ArchiveOutput sink(archive);
        WriteInfoJson(sink, *doc, bench.path.string());
        archive.Close();
        const auto info = nlohmann::json::parse(TextOf(file.Bytes()));
        EXPECT_EQ(info["type"], format.className);
        EXPECT_EQ(info["typeCode"], format.fileType);
        EXPECT_EQ(info["length"], bench.Length());
        for (size_t t = 0; t < bench.sample.values.size(); ++t) {
            const auto& values = bench.sample.values[t];
            EXPECT_EQ(info["traces"][t]["storedCount"],
                      values.size() - static_cast<size_t>(std::count(values.begin(), values.end(), inGap)));
        }
    });
}

// The sequential reader and its window, against the values.
void CheckSeek(Bench& bench, CDataDoc& doc, int64_t at) {
    const auto position = static_cast<int32_t>(at);
    for (int t = 0; t < doc.traceCount; ++t) {
        doc.SetReadPosition(position);
        uint8_t valid = 9;
        const auto inWindow = static_cast<size_t>(position - doc.bufferStart);
        if (at < bench.Length()) {
            ASSERT_PRED2(Same, doc.FileBuffer(t)[inWindow], bench.Expected(doc, t, at)) << t << " at " << at;
        }
        ASSERT_TRUE(Same(static_cast<float>(doc.ReadNextChecked(t, valid)), bench.Expected(doc, t, at)))
            << t << " at " << at;
        ASSERT_EQ(valid != 0, bench.IsValid(t, at)) << t << " at " << at;
        ASSERT_TRUE(Same(static_cast<float>(doc.ReadNext(t)), bench.Expected(doc, t, at + 1)))
            << t << " behind " << at;
    }
}

TEST(FormatConformance, SeeksAnywhereWithAnyGain) {
    ForEachSample([](Bench& bench, const Format&) {
        const auto doc = bench.Open(OpenFor::reading);
        ASSERT_TRUE(doc);
        std::mt19937 random(1);
        for (const double gain : {1.0, -0.3}) {
            doc->traces[static_cast<size_t>(doc->traceCount) - 1].traceGain = gain;
            doc->readPosition = 0;
            doc->FillFileBuf();
            const int64_t length = bench.Length();
            for (int round = 0; round < 8; ++round) {
                const int64_t from = static_cast<int64_t>(random() % (length + 100)) - 50;
                bench.CheckBlocks(*doc, from, 1 + random() % (round % 2 == 0 ? 40 : 40000));
            }
            for (const int64_t at :
                 {int64_t{0}, length / 2, length - 1, length, static_cast<int64_t>(random() % length),
                  static_cast<int64_t>(random() % length), length - 2})
                CheckSeek(bench, *doc, at);
            // Across the window's ends, in sequence.
            for (const int64_t from : {std::max<int64_t>(bufferSize - 5, 0), int64_t{0}}) {
                doc->SetReadPosition(static_cast<int32_t>(from));
                for (int64_t at = from; at < std::min<int64_t>(length, from + 10); ++at)
                    ASSERT_PRED2(Same, doc->ReadNext(0), bench.Expected(*doc, 0, at)) << at;
            }
        }
    });
}

// Extremes of many short stretches at once, as the ends of bins are.
void CheckStretches(CDataDoc& doc, int trace) {
    const int64_t length = doc.GetLength();
    const int64_t step = std::max<int64_t>(length / 800, 9);
    const auto count = static_cast<size_t>((length - 9) / step);
    std::vector<float> low(count, FLT_MAX), high(count, -FLT_MAX), values(static_cast<size_t>(length));
    std::vector<uint8_t> active(count, 0), valid(values.size());
    std::vector<FoldStretch> stretches;
    for (size_t b = 0; b < count; ++b)
        stretches.push_back(
            {static_cast<int64_t>(b) * step, 3 + static_cast<int64_t>(b % 7), &low[b], &high[b], &active[b]});
    ASSERT_TRUE(doc.FoldStretches(trace, stretches));
    doc.ReadBlock(trace, 0, values, valid);
    for (size_t b = 0; b < count; ++b) {
        float least = FLT_MAX, greatest = -FLT_MAX;
        for (int64_t i = stretches[b].from; i < stretches[b].from + stretches[b].count; ++i) {
            if (!valid[static_cast<size_t>(i)]) continue;
            least = std::min(least, values[static_cast<size_t>(i)]);
            greatest = std::max(greatest, values[static_cast<size_t>(i)]);
        }
        ASSERT_EQ(low[b], least) << b;
        ASSERT_EQ(high[b], greatest) << b;
        ASSERT_EQ(active[b] != 0, least <= greatest) << b;
    }
}

TEST(FormatConformance, FoldsAreTheExtremesOfTheValues) {
    ForEachSample([](Bench& bench, const Format& format) {
        const auto doc = bench.Open(OpenFor::reading);
        ASSERT_TRUE(doc);
        if (!bench.sample.folds) {
            EXPECT_FALSE(doc->FoldBlocks(0, 5, {0, 5}, {}));
            return;
        }
        EXPECT_TRUE(format.reader.folds);
        for (const double gain : {1.0, 3.7, -0.01}) {
            doc->traces[0].traceGain = gain;
            doc->traces[static_cast<size_t>(doc->traceCount) - 1].traceGain = -gain;
            ExpectFolds(*doc, bench.Length() < 40000 ? 12 : 6);
            CheckStretches(*doc, doc->traceCount - 1);
            if (::testing::Test::HasFatalFailure()) return;
        }
    });
}

TEST(FormatConformance, WhatTheUserAddsComesBack) {
    ForEachSample([](Bench& bench, const Format& format) {
        auto doc = bench.Open();
        ASSERT_TRUE(doc);
        const TraceSettings fresh = doc->traces[0];
        doc->traces[0].traceLabel = "mine";
        doc->traces[0].axisTop = 9.0;
        doc->traces[0].traceAutoscale = 0;
        doc->fileComment = "of the user";
        doc->AddEvent(30, CEventKM{3, 9});
        if (!format.reader.savesInPlace) doc->traces[0].traceGain = -4.0;
        ASSERT_TRUE(doc->OnSaveDocument()) << bench.host.LastMessage();
        EXPECT_FALSE(doc->IsModified());
        doc.reset();
        EXPECT_EQ(bench.files.Has(bench.sideCar), !format.reader.savesInPlace);
        EXPECT_EQ(bench.files.Bytes(bench.path) == bench.sample.bytes, !format.reader.savesInPlace);
        doc = bench.Open();
        ASSERT_TRUE(doc);
        bench.CheckWhole(*doc);
        EXPECT_EQ(doc->traces[0].traceLabel, "mine");
        EXPECT_EQ(doc->traces[0].axisTop, 9.0);
        EXPECT_EQ(doc->traces[0].traceAutoscale, 0);
        EXPECT_EQ(doc->fileComment, "of the user");
        EXPECT_EQ(doc->GetOff(30, 0), 9);
        doc.reset();
        if (format.reader.savesInPlace) return;
        // A damaged side-car is told of, and the recording is what the file says.
        const auto whole = bench.files.Bytes(bench.sideCar);
        const size_t ofOwner = bench.path.filename().string().size() + 12;  // nobody misses them
        for (const size_t length :
             {size_t{0}, size_t{5}, whole.size() / 3, whole.size() / 2, whole.size() - ofOwner - 1}) {
            bench.files.Put(bench.sideCar,
                            {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
            bench.host.Forget();
            doc = OpenDocument(bench.session, bench.path, bench.Request());
            ASSERT_TRUE(doc) << length;
            EXPECT_EQ(bench.host.messages.size(), 1u) << length;
            bench.CheckWhole(*doc);
            EXPECT_EQ(doc->traces[0].traceLabel, fresh.traceLabel);
            EXPECT_EQ(doc->traces[0].traceGain, 1.0);
            EXPECT_EQ(doc->traces[0].traceAutoscale, fresh.traceAutoscale);
            EXPECT_EQ(doc->GetNumEvents(30), 0);
        }
    });
}

// The dialogs come with nobody to answer them, so that each would decline the file.
TEST(FormatConformance, QuestionsAreAskedOnce) {
    ForEachSample([](Bench& bench, const Format& format) {
        auto doc = bench.Open(OpenFor::reading);
        ASSERT_TRUE(doc);
        bench.session.skipFileDetails = true;
        const OpenRequest again{OpenFor::reading, OpenTalk::asks, doc->ToReopen().settings};
        auto reopened = OpenDocument(bench.session, bench.path, again);
        ASSERT_TRUE(reopened) << bench.host.LastMessage();
        EXPECT_TRUE(bench.host.forms.empty() && bench.host.questions.empty());
        bench.CheckWhole(*reopened);

        const Opened asked = OpenRecording(bench.session, bench.path, {OpenFor::reading, OpenTalk::asks});
        EXPECT_EQ(asked.document == nullptr, format.reader.asks);
        EXPECT_EQ(bench.host.forms.empty(), !format.reader.asks);
        EXPECT_TRUE(bench.host.messages.empty()) << "who declines need not be told";
        EXPECT_EQ(asked.opening.fault, "");
    });
}

TEST(FormatConformance, BatchesOpenFilesWithoutAWord) {
    ForEachSample([](Bench& bench, const Format&) {
        const auto doc = bench.Open(OpenFor::reading);
        ASSERT_TRUE(doc);
        const bool taken = FindFormat(bench.path).extension->inBatch;
        BatchDocuments shown(bench.session, [&] { return std::vector<CDataDoc*>{doc.get()}; });
        BatchDocuments own(
            bench.session, [] { return std::vector<CDataDoc*>(); }, bench.sample.settings);
        for (CDataDoc* opened : {shown.OpenCopyForBatch(bench.path), own.OpenForBatch(bench.path)}) {
            ASSERT_EQ(opened != nullptr, taken);
            EXPECT_NE(opened, doc.get());
            if (taken) bench.CheckWhole(*opened);
        }
        EXPECT_EQ(bench.host.WasSilent(), taken) << bench.host.LastMessage();
        EXPECT_EQ(shown.FindShown(bench.path), doc.get());
    });
}

// On the disk, which several threads may use at once.
TEST(FormatConformance, ASecondLookInAnotherThreadReadsTheSame) {
    ForEachSample([](Bench& bench, const Format&) {
        TempFolder folder;
        DiskFileSystem disk;
        Session session(bench.host, disk);
        const auto path = folder / bench.sample.fileName;
        std::ofstream(path, std::ios::binary) << TextOf(bench.sample.bytes);
        for (const auto& [name, bytes] : bench.sample.beside) {
            std::filesystem::create_directories((folder / name).parent_path());
            std::ofstream(folder / name, std::ios::binary) << TextOf(bytes);
        }
        const auto doc = OpenDocument(session, path, bench.Request(OpenFor::reading));
        ASSERT_TRUE(doc);
        doc->traces[0].traceGain = 2.5;
        const auto source = LookSource::Of(*doc, disk);
        ASSERT_TRUE(source);
        EXPECT_TRUE(source->HasGainsOf(*doc));
        const std::atomic<bool> stop = false;
        std::thread other([&] {
            SecondLook look(disk, *source, stop);
            ASSERT_TRUE(look.Document());
            bench.CheckWhole(*look.Document());
        });
        bench.CheckBlocks(*doc, bench.Length() / 3, 500);
        other.join();
        // Of another recording in its place there is none.
        std::ofstream(path, std::ios::binary)
            << TextOf(bench.sample.bytes).substr(0, bench.sample.refused.back());
        SecondLook late(disk, *source, stop);
        EXPECT_TRUE(source->reopening.twin ? !LookSource::Of(*doc, disk) : !late.Document());
    });
}

TEST(FormatConformance, DamagedFilesAreRefusedWithAReason) {
    ForEachSample([](Bench& bench, const Format&) {
        const auto cutTo = [&](size_t length) {
            const auto& whole = bench.sample.bytes;
            bench.files.Put(bench.path, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
            bench.host.Forget();
            Opened opened = OpenRecording(bench.session, bench.path, bench.Request(OpenFor::reading));
            EXPECT_EQ(opened.document == nullptr, !opened.opening.fault.empty()) << length;
            if (!opened.document) {
                EXPECT_EQ(bench.host.LastMessage(), opened.opening.fault);
            }
            EXPECT_EQ(opened.opening.settingRefused, "");
            EXPECT_EQ(bench.files.Bytes(bench.path).size(), length) << "the file stays as it is";
            return std::move(opened.document);
        };
        for (const size_t length : bench.sample.refused) EXPECT_FALSE(cutTo(length)) << length;
        for (size_t i = 0; i < 12; ++i)
            if (const auto doc = cutTo(bench.sample.bytes.size() * i / 12)) {
                std::vector<float> values(static_cast<size_t>(doc->GetLength()));
                EXPECT_NO_THROW(doc->ReadBlock(0, 0, values)) << "what it says it holds";
            }
        bench.files.Remove(bench.path);
        EXPECT_FALSE(OpenDocument(bench.session, bench.path));
        EXPECT_TRUE(bench.host.LastMessage().starts_with("Couldn't open file")) << bench.host.LastMessage();
    });
}

TEST(FormatConformance, SettingsThatCannotBeAreRefusedByTheirNames) {
    const struct {
        const char* file;
        const char* key;
        std::vector<const char*> values;
    } wrong[] = {
        {"x.csv", "sampleInterval", {"0", "nan", "-1"}},
        {"x.csv", "skipRows", {"-2"}},
        {"x.csv", "skipColumns", {"1.5"}},
        {"x.csv", "labelRow", {"x"}},
        {"x.csv", "dataInColumns", {"2"}},
        {"x.csv", "decimalSeparator", {";"}},
        {"x.bin", "binaryTraces", {"0", "17"}},
        {"x.bin", "traces", {"2.5", ""}},
        {"x.bin", "binaryInterval", {"0", "2e10", "1e-9", "1 ms"}},
        {"x.bin", "sampleInterval", {"-1", "nan"}},
        {"x.bin", "binaryType", {"4", "long double"}},
        {"x.edf", "signals", {"abc", "0", "9", "1-", "-1", "1-999999999", "2x", "99999999999999999999"}},
        {"x.edf", "annotations", {"foo"}},
        {"x.mat", "variables", {"B", ""}},
        {"x.mat", "sampleInterval", {"0", "1 ms"}},
        {"x.axgx", "sweeps", {"2", ""}},
        {"x.bdf", "signals", {"41"}},
        {"x.ap.bin", "channels", {"6", "a"}},
        {"x.ap.bin", "from", {"-1", "9", "x"}},
        {"x.ap.bin", "digital", {"yes"}},
        {"x.rhd", "stream", {"2", "other"}},
        {"x.ncs", "polarity", {"up"}},
    };
    ForEachSample([&](Bench& bench, const Format&) {
        for (const auto& [file, key, values] : wrong)
            for (const char* value : values) {
                if (bench.sample.fileName != file) continue;
                const Opened opened = OpenRecording(bench.session, bench.path,
                                                    {OpenFor::reading, OpenTalk::tells, {{key, value}}});
                EXPECT_FALSE(opened.document) << key << " " << value;
                EXPECT_EQ(opened.opening.settingRefused, key);
                EXPECT_TRUE(bench.host.LastMessage().starts_with(
                    fmt::format("The import setting \"{}\" is \"{}\". It takes ", key, value)))
                    << bench.host.LastMessage();
            }
    });
}

TEST(FormatConformance, WhatAnOpenFileHasLostIsAnErrorAndNotZeros) {
    ForEachSample([](Bench& bench, const Format&) {
        const auto doc = bench.Open(OpenFor::reading);
        ASSERT_TRUE(doc);
        const auto& samplesIn = bench.sample.samplesIn;
        bench.files.Bytes("/" + (samplesIn.empty() ? bench.sample.fileName : samplesIn)).resize(3);
        const bool inMemory = static_cast<bool>(doc->ToReopen().twin);
        if (inMemory) return bench.CheckWhole(*doc);
        std::vector<float> values(static_cast<size_t>(bench.Length()), -77.0f);
        EXPECT_THROW(doc->ReadBlock(0, 0, values), FileError);
        if (!bench.sample.folds) return;
        std::vector<float> low(2, FLT_MAX), high(2, -FLT_MAX);
        const TraceFold fold{0, low, high, {}};
        EXPECT_THROW(doc->FoldBlocks(0, bench.Length(), {0, bench.Length()}, {&fold, 1}), FileError);
    });
}

}  // namespace
}  // namespace kymora::test
