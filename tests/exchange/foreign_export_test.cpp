// Recordings in the forms of other systems, against fields and bytes worked out by hand, and read back.

#include "exchange/foreign_export.h"

#include <fmt/format.h>

#include <cmath>
#include <cstring>

#include "exchange/edf_plan.h"
#include "import/bdf_doc.h"
#include "import/edf_doc.h"
#include "import/open_document.h"
#include "support/edf_builder.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class ForeignExportTest : public SessionTest {
  protected:
    // 200 ms at 1 ms with a gap from 60 to 100; two channels of events.
    std::unique_ptr<MemoryDoc> Gapped() {
        std::vector<std::vector<float>> samples(2);
        for (int i = 0; i < 160; ++i) {
            samples[0].push_back(static_cast<float>(70.0 * std::sin(i * 0.31)));
            samples[1].push_back(static_cast<float>(i) * 1e-9f);
        }
        const std::vector<uint32_t> runs{60, 40, 100};
        auto doc = MemoryDoc::MakeWithRuns(session, std::move(samples), {runs, runs});
        doc->traces[0].traceLabel = "soma";
        doc->traces[0].traceUnits = "\u00B5V";
        doc->eventChannels[1].channelLabel = "spikes";
        doc->AddEvent(1, {10, 11});
        doc->AddEvent(1, {120, 150, 0, 0, 0, "burst"});
        doc->AddEvent(2, {130, 131, 0, 0, 0, "drug"});
        return doc;
    }
    std::string Text(const char* path) {
        const std::vector<std::byte> bytes = files.Bytes(path);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    template <typename Doc>
    std::unique_ptr<Doc> Open(const char* path) {
        auto doc = std::make_unique<Doc>(session);
        if (!doc->OnOpenDocument(path, OpenFor::reading)) return nullptr;
        return doc;
    }
};

TEST(EdfPlan, LimitsFitTheirFieldsAndEnclose) {
    struct {
        double x;
        bool up;
        const char* text;
    } const cases[] = {{0.1234567891, true, "0.123457"}, {-1234.5678, false, "-1234.57"},
                       {-1234.5678, true, "-1234.56"},   {99999999.0, true, "99999999"},
                       {123456789.0, true, "123457e3"},  {1.5e-7, true, "15e-8"},
                       {-2.51e-8, false, "-251e-10"}};
    for (const auto& c : cases) EXPECT_EQ(EdfLimit(c.x, c.up, 0.0).text, c.text) << c.x;
    EXPECT_EQ(EdfLimit(1.5e-7, true, 1e-6).text, "0.000001") << "no exponent where it is not needed";
    const EdfLimits flat = EdfLimitsFor({5.0, 5.0});
    EXPECT_EQ(flat.low.value, 5.0);
    EXPECT_EQ(flat.high.value, 6.0);
}

TEST(EdfPlan, RecordsFillRunsAndKeepTheInterval) {
    struct {
        std::vector<ExportRun> runs;
        double interval;
        int64_t frameBytes, samples, filled;
        const char* duration;
    } const cases[] = {
        {{{0, 10000}}, 1.0, 2, 10000, 0, "10"},
        {{{0, 3000}, {5000, 9000}}, 1.0, 2, 1000, 0, "1"},
        {{{0, 997}}, 1.0, 2, 997, 0, "0.997"},
        {{{0, 90000}}, 1.0 / 30, 4, 15000, 0, "0.5"},  // 30 kHz: only multiples of 3 have an end
        {{{0, 100003}}, 1.0, 2, 25001, 1, "25.001"},   // a prime number; 100004 is 4 x 25001
        {{{0, 7}, {8, 16}}, 1.0, 2, 1, 0, "0.001"},    // no room for another sample in the gap
    };
    for (const auto& c : cases) {
        const auto records = ChooseEdfRecords(c.runs, c.interval, c.frameBytes);
        ASSERT_TRUE(records) << c.duration;
        EXPECT_EQ(records->samples, c.samples) << c.duration;
        EXPECT_EQ(records->filled, c.filled) << c.duration;
        EXPECT_EQ(records->duration.text, c.duration);
    }
    EXPECT_FALSE(ChooseEdfRecords(std::vector<ExportRun>{{0, 7}, {8, 16}}, 1e-5, 2)) << "10 ns";
}

TEST_F(ForeignExportTest, EdfAndBdfAreReadBackWithinHalfAStep) {
    for (const bool isBdf : {false, true}) {
        const auto doc = Gapped();
        const char* const path = isBdf ? "/x.bdf" : "/x.edf";
        ASSERT_TRUE(WriteExport(*doc, path, {}));
        const std::string text = Text(path);
        EXPECT_EQ(text.substr(0, 8), isBdf ? "\xFF"
                                             "BIOSEMI"
                                           : "0       ");
        EXPECT_EQ(text.substr(192, 5), isBdf ? "BDF+D" : "EDF+D");
        EXPECT_EQ(text.substr(236, 20), "8       0.02    4   ");  // 60 and 100 samples in records of 20
        EXPECT_NE(text.find(std::string("+0\x14\x14\0+0.01\x14spikes\x14\0", 19)), std::string::npos);
        EXPECT_NE(text.find("+0.12\x15"
                            "0.03\x14"
                            "burst\x14"),
                  std::string::npos);
        const auto read = isBdf ? Open<CBDFDoc>(path) : Open<CEDFDoc>(path);
        ASSERT_TRUE(read) << host.LastMessage();
        EXPECT_EQ(read->sampleInterval, 1.0);
        EXPECT_EQ(read->validRuns[1], doc->validRuns[1]);
        EXPECT_EQ(read->traces[0].traceLabel, "soma");
        EXPECT_EQ(read->traces[0].traceUnits, "uV");
        ASSERT_EQ(read->GetNumEvents(1), 2);
        EXPECT_EQ(read->GetEvent(1, 1)->eventLabel, "burst");
        EXPECT_EQ(read->GetOn(1, 1), 120);
        EXPECT_EQ(read->GetOff(1, 1), 150);
        EXPECT_EQ(read->GetEvent(2, 0)->eventLabel, "drug");
        for (int t = 0; t < 2; ++t) {
            const double range = t == 0 ? 140.0 : 1.6e-7;
            const double half = range / (isBdf ? 16777215.0 : 65535.0) / 2 * 1.01 + range * 1e-7;
            const auto before = SamplesOf(*doc, t), after = SamplesOf(*read, t);
            for (size_t i = 0; i < before.size(); ++i)
                ASSERT_NEAR(after[i], before[i], half) << t << " " << i;
        }
    }
}

TEST_F(ForeignExportTest, NumbersOfAnEdfRecordingStayTheSame) {
    ASSERT_TRUE(WriteExport(*Gapped(), "/a.edf", {}));
    const auto first = Open<CEDFDoc>("/a.edf");
    ASSERT_TRUE(first);
    ASSERT_TRUE(WriteExport(*first, "/b.edf", {}));
    const auto second = Open<CEDFDoc>("/b.edf");
    ASSERT_TRUE(second);
    for (int t = 0; t < 2; ++t) EXPECT_EQ(SamplesOf(*second, t), SamplesOf(*first, t));
    EXPECT_EQ(second->GetNumEvents(1), 2);
}

// Fields of a header: patient at 8, recording at 88, date at 168, transducers from 256 + 16 x signals on.
TEST_F(ForeignExportTest, WhatTheSourceTellsIsKeptAndTheRestIsTold) {
    EdfBuilder builder;
    builder.patient = "MCH 7 Smith";
    builder.recording = "Lab 3";
    builder.AddRamp("A1", 20);
    files.Put("/plain.edf", builder.Build());
    const auto doc = Open<CEDFDoc>("/plain.edf");
    ASSERT_TRUE(doc) << host.LastMessage();
    doc->InsertMarker({});
    doc->AddEvent(1, {10, 11, 2.5f});
    doc->AddEvent(2, {12, 13, 0, 1});
    doc->fileComment = "slice 3";
    const std::string kept = "Not kept in this form: 1 marker, 1 event's value, 1 event's tag, ";
    for (const char* path : {"/x.edf", "/x.bdf"}) {
        ASSERT_TRUE(WriteExport(*doc, path, {}));
        const std::string text = Text(path);
        EXPECT_TRUE(text.substr(8, 80).starts_with("X X X X MCH 7 Smith  ")) << text.substr(8, 80);
        EXPECT_TRUE(text.substr(88, 80).starts_with("Startdate 01-FEB-2003 X X X Lab 3  "));
        EXPECT_EQ(text.substr(168, 16), "01.02.0304.05.06");
        EXPECT_TRUE(text.substr(256 + 16 * 3, 80).starts_with("AgCl  ")) << "beside two of annotations";
        EXPECT_NE(host.LastMessage().find(kept + "the comment of the recording."), std::string::npos);
    }
    ASSERT_TRUE(WriteExport(*doc, "/x.wav", {}));
    EXPECT_EQ(host.LastMessage(), kept + "of which channel each event is, when the recording began.");
}

TEST_F(ForeignExportTest, WaveAudioHoldsTheValuesOrPartsOfTheLargest) {
    const auto doc = MemoryDoc::Make(session, {{0.5f, -2.0f, 1.0f}, {0.0f, NAN, 4.0f}});
    ASSERT_TRUE(WriteExport(*doc, "/f.wav", {}));
    const std::string text = Text("/f.wav");
    EXPECT_EQ(text.substr(0, 4) + text.substr(8, 8), "RIFFWAVEfmt ");
    const float frames[] = {0.5f, 0.0f, -2.0f, 0.0f, 1.0f, 4.0f};
    EXPECT_EQ(std::memcmp(text.data() + text.size() - sizeof frames, frames, sizeof frames), 0);
    uint32_t riff = 0;
    std::memcpy(&riff, text.data() + 4, 4);
    EXPECT_EQ(riff, text.size() - 8);
    ASSERT_TRUE(WriteExport(*doc, "/i.wav", {WavNumbers::pcm16}));
    const std::string parts = Text("/i.wav");
    const int16_t numbers[] = {4096, 0,    -16384,
                               0,    8192, 32767};  // of 32767 for 4: 4095.875, 16383.5, 8191.75
    EXPECT_EQ(std::memcmp(parts.data() + parts.size() - sizeof numbers, numbers, sizeof numbers), 0);
    EXPECT_NE(host.LastMessage().find("1 samples that were gaps, or no numbers"), std::string::npos);
}

// The limit of 4 GB is set lower here.
TEST_F(ForeignExportTest, LargeAudioIsRf64AndKeepsManyCues) {
    constexpr int length = 60000;
    std::vector<float> ramp(length);
    for (int i = 0; i < length; ++i) ramp[static_cast<size_t>(i)] = static_cast<float>(i) * 0.5f;
    auto doc = MemoryDoc::MakeWithRuns(session, {ramp}, {{uint32_t{length}}});
    for (int i = 0; i < length; ++i) doc->AddEvent(0, {i, i + 1, 0, 0, 0, "spike"});
    WriteWavFile(*doc, "/large.wav", WavNumbers::float32, 100000);
    const std::string text = Text("/large.wav");
    EXPECT_EQ(text.substr(0, 16), "RF64\xFF\xFF\xFF\xFFWAVEds64");
    uint64_t sizes[3];
    std::memcpy(sizes, text.data() + 20, sizeof sizes);
    EXPECT_EQ(sizes[0], text.size() - 8);
    EXPECT_EQ(sizes[1], 4u * length);
    EXPECT_EQ(sizes[2], static_cast<uint64_t>(length));
    const auto again = OpenDocument(session, "/large.wav", OpenFor::reading);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->GetLength(), length);
    ASSERT_EQ(again->GetNumEvents(0), length);
    EXPECT_EQ(again->GetEvent(0, length - 1)->onPosition, length - 1);
    again->SetReadPosition(length - 1);
    EXPECT_EQ(again->ReadNext(0), ramp.back());
}

// By a reader that shares nothing with the library that has written.
TEST_F(ForeignExportTest, NwbIsReadBackWithItsGapsAndEvents) {
    const auto doc = Gapped();
    doc->traces[1].traceUnits = "mV";
    doc->AddEvent(3, {5, 6});
    doc->AddEvent(3, {199, 200});
    ASSERT_TRUE(WriteExport(*doc, "/x.nwb", {}));
    const auto read = OpenDocument(session, "/x.nwb", OpenFor::reading);
    ASSERT_TRUE(read) << host.LastMessage();
    EXPECT_EQ(read->sampleInterval, 1.0);
    ASSERT_EQ(read->traceCount, 2);
    EXPECT_EQ(read->traces[0].traceLabel, "soma");
    EXPECT_EQ(read->traces[0].traceUnits, "uV") << "the prefix of the first, since they differ";
    EXPECT_EQ(read->validRuns[1], doc->validRuns[1]);
    EXPECT_EQ(SamplesOf(*read, 0), SamplesOf(*doc, 0));
    const auto before = SamplesOf(*doc, 1), after = SamplesOf(*read, 1);
    for (size_t i = 0; i < before.size(); ++i) ASSERT_FLOAT_EQ(after[i], 1000.0f * before[i]) << i;
    std::map<std::string, std::string> events;
    for (const CEventChan& channel : read->eventChannels)
        for (const CEventKM& e : channel.Events())
            events[channel.channelLabel] +=
                fmt::format("{}-{}{} ", e.onPosition, e.offPosition, e.eventLabel.View());
    EXPECT_EQ(events, (std::map<std::string, std::string>{{"channel d", "5-6 199-200 "},
                                                          {"events c", "130-131drug "},
                                                          {"spikes", "10-11 120-150burst "}}));
    // One series of another unit for the second trace, of the same times.
    doc->traces[1].traceUnits = "nA";
    ASSERT_TRUE(WriteExport(*doc, "/y.nwb", {}));
    const auto other =
        OpenDocument(session, "/y.nwb", {OpenFor::reading, OpenTalk::tells, {{"stream", "2"}}});
    ASSERT_TRUE(other) << host.LastMessage();
    EXPECT_EQ(other->traces[0].traceUnits, "nA");
    EXPECT_EQ(other->validRuns[0], doc->validRuns[0]);
    EXPECT_EQ(SamplesOf(*other, 0), before);
}

TEST_F(ForeignExportTest, MatlabFilesHoldAStructureForEachTrace) {
    const auto doc = Gapped();
    doc->traces[1].traceLabel = "2nd (pA)";
    ASSERT_TRUE(WriteExport(*doc, "/x.mat", {}));
    EXPECT_EQ(host.LastMessage(), "80 samples of gaps became \"not a number\".");
    const std::string text = Text("/x.mat");
    EXPECT_EQ(text.substr(0, 19) + text.substr(124, 4), std::string("MATLAB 5.0 MAT-file\x00\x01IM", 23));
    const auto read = OpenDocument(session, "/x.mat", OpenFor::reading);
    ASSERT_TRUE(read) << host.LastMessage();
    ASSERT_EQ(read->traceCount, 2);
    EXPECT_EQ(read->sampleInterval, 1.0);
    EXPECT_EQ(read->traces[0].traceLabel, "soma");
    EXPECT_EQ(read->traces[0].traceUnits, "\u00B5V");
    EXPECT_EQ(read->traces[1].traceLabel, "2nd (pA)");
    const auto before = SamplesOf(*doc, 0), after = SamplesOf(*read, 0);
    for (size_t i = 0; i < before.size(); ++i)
        ASSERT_TRUE(i >= 60 && i < 100 ? std::isnan(after[i]) : after[i] == before[i]) << i;
}

TEST_F(ForeignExportTest, NothingIsLeftOfWhatWasCancelledOrDeclined) {
    for (const char* path : {"/x.edf", "/x.bdf", "/x.wav", "/x.nwb", "/x.mat"}) {
        PutText(path, "precious");
        host.answer = false;
        const bool isWav = std::string(path) == "/x.wav";
        EXPECT_TRUE(!isWav || !WriteExport(*Gapped(), path, {}));
        host.answer = true;
        for (const uint64_t call : {1, 2}) {
            host.cancelAtCall = call;
            const auto doc =
                MemoryDoc::Generate(session, 1, 40000, [](int, int64_t i) { return float(i % 9); });
            EXPECT_THROW(WriteExport(*doc, path, {}), Cancelled) << path;
        }
        host.cancelAtCall = 0;
        EXPECT_EQ(Text(path), "precious");
        EXPECT_THROW(WriteExport(*MemoryDoc::MakeEmpty(session, 100), path, {}), FileError);
        EXPECT_EQ(files.List("/").size(), std::string("ebwnm").find(path[3]) + 1);
    }
}

}  // namespace
}  // namespace kymora::test
