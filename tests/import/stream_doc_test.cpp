// Recordings of many channels: what is chosen of them, their digital lines, and what stands beside the
// samples.

#include "import/foreign_doc.h"
#include "import/reader_fixture.h"
#include "import/stream_samples.h"

namespace kymora::test {
namespace {

class StreamTest : public ReaderTest {
  protected:
    std::unique_ptr<CDataDoc> Open(const FormatSample& sample, const ImportSettings& settings = {}) {
        files.Put("/" + sample.fileName, sample.bytes);
        for (const auto& [name, bytes] : sample.beside) files.Put("/" + name, bytes);
        host.Forget();
        request.settings = settings;
        return Reopen(("/" + sample.fileName).c_str());
    }
    // "label: on-off ..." of each channel with events.
    static std::vector<std::string> Events(const CDataDoc& doc) {
        std::vector<std::string> all;
        for (const CEventChan& channel : doc.eventChannels) {
            if (channel.GetNumEvents() == 0) continue;
            std::string text = channel.channelLabel + ":";
            for (const CEventKM& e : channel.Events())
                text += fmt::format(" {}-{}{}", e.onPosition, e.offPosition, e.eventLabel.View());
            all.push_back(text);
        }
        return all;
    }
};

// Two analog inputs and two words of lines, of a card of 12 bits.
FormatSample NidqSample() {
    FormatSample sample{"nidq", "run.nidq.bin"};
    sample.beside = {{"run.nidq.meta",
                      BytesOf("typeThis=nidq\nnSavedChans=4\nniSampRate=1000\nniAiRangeMax=5\nniMaxInt=2048\n"
                              "niMAGain=10\nsnsMnMaXaDw=0,1,1,2\nsnsSaveChanSubset=all\n"
                              "fileCreateTime=2026-11-09T03:25:07\nuserNotes=a=b\n")}};
    std::vector<int16_t> words;
    for (int i = 0; i < 50; ++i) {
        const int low = (i >= 10 && i < 14 ? 1 : 0) | (i >= 12 && i < 30 ? 0x8000 : 0);
        for (const int word : {i, 2 * i, low, i < 5 || i >= 40 ? 2 : 0})
            words.push_back(static_cast<int16_t>(word));
    }
    sample.bytes = BytesOfWords(words);
    return sample;
}

TEST_F(StreamTest, SpikeGlxLinesAndScalesOfACard) {
    const FormatSample sample = NidqSample();
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->traceCount, 4);
    EXPECT_EQ(doc->traces[0].traceLabel, "MA0");
    EXPECT_EQ(doc->traces[1].traceUnits, "V");
    EXPECT_FLOAT_EQ(All(*doc, 0)[41], static_cast<float>(41.0 * 5 / 2048 / 10));
    EXPECT_FLOAT_EQ(All(*doc, 1)[41], static_cast<float>(82.0 * 5 / 2048));
    EXPECT_EQ(Events(*doc),
              (std::vector<std::string>{"Line 0: 10-14", "Line 15: 12-30", "Line 17: 0-5 40-50"}));
    EXPECT_EQ(doc->fileComment, "SpikeGLX, created 2026-11-09T03:25:07\r\na=b\r\n");
    EXPECT_EQ(doc->GetStartClock(), (3 * 3600 + 25 * 60 + 7) * 1000.0);
    // A part of it, opened by the text beside it.
    request.settings = {{"from", "0.013"}, {"channels", "2"}};
    doc = Reopen("/run.nidq.meta");
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->GetLength(), 37);
    EXPECT_FLOAT_EQ(All(*doc, 0)[0], static_cast<float>(26.0 * 5 / 2048));
    EXPECT_EQ(Events(*doc), (std::vector<std::string>{"Line 0: 0-1", "Line 15: 0-17", "Line 17: 27-37"}));
    EXPECT_EQ(doc->GetStartClock(), (3 * 3600 + 25 * 60 + 7) * 1000.0 + 13.0);
    EXPECT_FALSE(doc->OnSaveDocument()) << "its positions are not those of the side-car";
    EXPECT_FALSE(files.Has("/run.nidq.kymr-hdr"));

    EXPECT_TRUE(Events(*Open(sample, {{"digital", "none"}})).empty());
    files.Remove("/run.nidq.meta");
    EXPECT_FALSE(Reopen("/run.nidq.bin"));
    EXPECT_TRUE(host.LastMessage().starts_with("run.nidq.meta belongs to this recording"))
        << host.LastMessage();
}

TEST_F(StreamTest, ScalesOfProbes) {
    const struct {
        const char* meta;
        double factor;  // uV; 1 for stored numbers
    } probes[] = {
        {"imDatPrb_type=21\nimAiRangeMax=0.5\nimMaxInt=8192\n~imroTbl=(21,1)(0 0 0 0)\n",
         0.5 / 8192 / 80 * 1e6},
        {"imDatPrb_type=2013\nimAiRangeMax=0.62\nimMaxInt=2048\nimChan0apGain=100\n",
         0.62 / 2048 / 100 * 1e6},
        {"~imroTbl=(641251209,3,1)(0 0 0 500 250)\nimAiRangeMax=0.6\n", 0.6 / 512 / 500 * 1e6},
        {"imDatPrb_type=1110\nimAiRangeMax=0.6\nimMaxInt=512\n~imroTbl=(1110,0,1,1000,50,1)\n",
         0.6 / 512 / 1000 * 1e6},
        {"imDatPrb_type=9999\n", 1.0},
    };
    for (const auto& [meta, factor] : probes) {
        FormatSample sample{"probe", "p.ap.bin", BytesOfWords({100, -100})};
        sample.beside = {{"p.ap.meta", BytesOf(std::string("typeThis=imec\nnSavedChans=1\nimSampRate=30000\n"
                                                           "snsApLfSy=1,0,0\nacqApLfSy=1,1,1\n") +
                                               meta)}};
        const auto doc = Open(sample);
        ASSERT_TRUE(doc) << meta;
        EXPECT_FLOAT_EQ(All(*doc, 0)[1], static_cast<float>(-100 * factor)) << meta;
        EXPECT_EQ(doc->traces[0].traceUnits, factor == 1.0 ? "" : "uV");
        EXPECT_EQ(host.messages.size(), factor == 1.0 ? 1u : 0u) << host.LastMessage();
    }
}

TEST_F(StreamTest, AProbeOf385ChannelsKeepsWhatWasChosen) {
    FormatSample sample{"probe", "p.ap.bin"};
    const size_t scans = 600;
    const auto words = Words(385 * scans, 1);
    sample.bytes = BytesOfWords(words);
    sample.beside = {
        {"p.ap.meta", BytesOf("typeThis=imec\nnSavedChans=385\nimSampRate=1000\nimDatPrb_type=2013\n"
                              "imMaxInt=2048\nimChan0apGain=100\nsnsApLfSy=384,0,1\n"
                              "acqApLfSy=384,0,1\nsnsSaveChanSubset=all\n")}};
    auto doc = Open(sample);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 128);
    EXPECT_TRUE(host.LastMessage().starts_with("The first 128 of 385 channels of p.ap.bin are shown."));
    doc = Open(sample, {{"channels", "300-384"}});
    ASSERT_TRUE(doc);
    const float factor = static_cast<float>(0.62 / 2048 / 100 * 1e6);
    for (const int trace : {0, 40, 84})
        for (const size_t i : {size_t{0}, size_t{341}, scans - 1})
            EXPECT_EQ(All(*doc, trace)[i], words[385 * i + 299 + static_cast<size_t>(trace)] * factor);
    // All of them at once, from anywhere.
    std::vector<std::vector<float>> values(85, std::vector<float>(501));
    std::vector<TraceBlock> blocks;
    for (int t = 0; t < 85; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], {}});
    doc->ReadBlocks(77, blocks);
    for (size_t t = 0; t < 85; ++t)
        for (size_t i = 0; i < 501; ++i)
            ASSERT_EQ(values[t][i], words[385 * (i + 77) + 299 + t] * factor) << t;
    doc->traces[1].traceLabel = "mine";
    ASSERT_TRUE(doc->OnSaveDocument());
    // Without a choice the last one holds; with another one labels stay with their channels.
    doc = Open(sample);
    EXPECT_EQ(doc->traceCount, 85);
    EXPECT_EQ(doc->traces[1].traceLabel, "mine");
    doc = Open(sample, {{"channels", "2,301"}});
    EXPECT_EQ(doc->traces[0].traceLabel, "AP1");
    EXPECT_EQ(doc->traces[1].traceLabel, "mine");
}

TEST_F(StreamTest, IntanLinesNotesAndFolders) {
    FormatSample sample = RhdSample(2, 6);
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(Events(*doc), (std::vector<std::string>{"gate: 138-148"}));
    EXPECT_EQ(doc->traces[0].traceLabel, "tip");
    EXPECT_EQ(doc->traces[5].traceUnits, "V");
    EXPECT_EQ(doc->fileComment,
              "Intan RHD2000 version 2.3\r\nslice 3\r\nReference: A-000\r\nA notch filter of 50 Hz "
              "was shown while recording.\r\n");
    // Slow signals alone last as long.
    EXPECT_EQ(Open(sample, {{"channels", "4"}})->GetLength(), doc->GetLength());
    // Part of it: 384 samples, 1000 missing, and from 20 samples into what follows.
    doc = Open(sample, {{"from", "0.702"}, {"channels", "1,3"}});
    ASSERT_TRUE(doc) << host.LastMessage();
    for (size_t i = 0; i < 364; ++i) {
        ASSERT_FLOAT_EQ(All(*doc, 0)[i], sample.values[0][i + 1404]) << i;
        ASSERT_FLOAT_EQ(All(*doc, 1)[i], sample.values[2][i + 1404]) << i;
    }
    // The same head with a file for each kind of signal, where amplifiers are centred.
    IntanBuilder header;
    header.Rhd(2).out.I16(1);
    header.Text("Port A").Text("A").out.I16(1).I16(3).I16(2);
    header.Channel("A-000", "", 0, 0).Channel("A-001", "", 1, 0).Channel("DIN-01", "", 1, 4);
    files.Put("/run/info.rhd", header.out.data);
    Bytes times;
    for (const int time : {0, 1, 2, 5, 6}) times.I32(time);
    files.Put("/run/time.dat", times.data);
    files.Put("/run/amplifier.dat", BytesOfWords({1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6}));
    files.Put("/run/digitalin.dat", BytesOfWords({0, 2, 2, 2, 0}));
    request.settings.clear();
    doc = Reopen("/run/info.rhd");
    ASSERT_TRUE(doc) << host.LastMessage();
    const std::vector<float> wanted{-1, -2, -3, 0, 0, -4, -5};
    const std::vector<float> values = All(*doc, 1);
    ASSERT_EQ(values.size(), wanted.size());
    for (size_t i = 0; i < wanted.size(); ++i) EXPECT_FLOAT_EQ(values[i], wanted[i] * 0.195f) << i;
    EXPECT_EQ(Events(*doc), (std::vector<std::string>{"DIN-01: 1-6"}));
    // And with one for each channel.
    files.Remove("/run/amplifier.dat");
    files.Remove("/run/digitalin.dat");
    files.Put("/run/amp-A-001.dat", BytesOfWords({7, 7, 7, 7, 8}));
    files.Put("/run/board-DIN-01.dat", BytesOfWords({1, 0, 0, 0, 1}));
    doc = Reopen("/run/info.rhd");
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->traceCount, 1);
    EXPECT_FLOAT_EQ(All(*doc, 0)[6], 8 * 0.195f);
    EXPECT_EQ(Events(*doc), (std::vector<std::string>{"DIN-01: 0-1 6-7"}));
}

TEST_F(StreamTest, OpenEphysStreamsAndTheirEvents) {
    FormatSample sample = OebinSample(300);
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_TRUE(host.messages[0].text.starts_with(
        "structure.oebin holds 2 streams: 1 (Board-100.Probe), 2 (Slow-101)."));
    EXPECT_EQ(doc->traces[1].traceUnits, "uV");
    EXPECT_EQ(doc->traces[2].traceUnits, "V");
    EXPECT_EQ(Events(*doc),
              (std::vector<std::string>{"Camera 1: 3-10", "Camera 2: 4-20 30-1040",
                                        "Messages: 7-8drug on 250-251wash", "Tetrode 1: 2-3 12-13"}));
    EXPECT_EQ(doc->eventChannels[3].Events()[1].eventValue, 3.0f);
    // Messages lie at the same time in another stream, and lines belong to their own.
    doc = Open(sample, {{"stream", "2"}});
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{2, 4, 6, 8, 10, 12}));
    EXPECT_EQ(Events(*doc), (std::vector<std::string>{"Messages: 0-1drug on 1-2wash"}));
    // The side-car of one stream is not that of another.
    ASSERT_TRUE(doc->OnSaveDocument());
    doc = Open(sample, {{"stream", "1"}});
    EXPECT_FALSE(doc->OnSaveDocument());
    doc = Open(sample);
    EXPECT_EQ(doc->GetLength(), 6) << "the stream that was chosen last";
    sample.bytes = BytesOf("{\"continuous\": [{\"folder_name\": \"../../etc\", \"sample_rate\": 1}]}");
    EXPECT_FALSE(Open(sample));
}

TEST_F(StreamTest, NeuralynxEventsAndPolarity) {
    const FormatSample sample = NcsSample();
    Bytes events;
    events.data = BytesOf("######## Neuralynx Data File Header");
    events.data.resize(16384);
    for (const auto& [time, ttl, text] :
         {std::tuple(int64_t{6990000}, 1, "early"), std::tuple(int64_t{7512050}, 5, "TTL Input"),
          std::tuple(int64_t{10048151}, 0, "Stopping Recording")}) {
        std::vector<std::byte> label = BytesOf(text);
        label.resize(128);
        events.I16(0).I16(0).I16(0).Raw(time).I16(11).U16(static_cast<unsigned>(ttl));
        for (int i = 0; i < 19; ++i) events.I16(0);
        events.data.insert(events.data.end(), label.begin(), label.end());
    }
    files.Put("/Events.nev", events.data);
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->traces[0].traceLabel, "CSC2");
    EXPECT_EQ(doc->traces[0].traceUnits, "uV");
    EXPECT_EQ(Events(*doc),
              (std::vector<std::string>{"Events: 512-513TTL Input 3048-3049Stopping Recording"}));
    EXPECT_EQ(doc->eventChannels[0].Events()[0].eventValue, 5.0f);
    EXPECT_NE(doc->fileComment.find("shown as stored"), std::string::npos);
    doc = Open(sample, {{"polarity", "input"}});
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0)[600], -sample.values[0][600]);
    EXPECT_EQ(All(*doc, 1)[600], sample.values[1][600]);
}

TEST_F(StreamTest, BlackrockEventsAndClocksThatBeginAgain) {
    // Three samples, then three more of a clock that has begun again.
    Bytes out = NsxHead("NEURALCD", 2, 30, 30000);
    for (const int block : {0, 1}) {
        out.U8(1).U32(block == 0 ? 90000 : 30).U32(block == 0 ? 300 : 0);
        for (int i = 0; i < 300; ++i) out.I16(i).I16(-i);
    }
    Bytes nev;
    nev.data = BytesOf("NEURALEV");
    nev.U8(2).U8(3).I16(1).U32(336 + 32).U32(24).U32(30000).U32(30000);
    nev.data.resize(332);
    nev.U32(1);
    nev.data.resize(368);
    std::memcpy(nev.data.data() + 336, "NEUEVLBL\x05\0tip", 13);
    const auto packet = [&](uint32_t time, unsigned kind, const std::string& body) {
        const size_t end = nev.data.size() + 24;
        nev.U32(time).U16(kind);
        for (const char c : body) nev.U8(static_cast<unsigned char>(c));
        nev.data.resize(end);
    };
    packet(89000, 0, "early");
    packet(90060, 0, std::string("\x01\0\x07\x01", 4));
    packet(90300, 5, std::string("\x02\0", 2));
    packet(60, 0xFFFF, std::string("\0\0\0\0\0\0wash", 10));
    files.Put("/x.nev", nev.data);
    FormatSample sample{"", "x.ns2", out.data};
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->GetLength(), 600);
    EXPECT_FALSE(doc->hasGaps);
    EXPECT_EQ(doc->traces[1].traceLabel, "Electrode 8");
    EXPECT_EQ(Events(*doc),
              (std::vector<std::string>{"Digital: 2-3", "Comments: 301-302wash", "tip: 10-11"}));
    EXPECT_EQ(doc->eventChannels[0].Events()[0].eventValue, 263.0f);
    EXPECT_EQ(doc->eventChannels[2].Events()[0].eventValue, 2.0f);
    EXPECT_EQ(doc->fileComment,
              "Blackrock, version 2.0\r\nRecorded on 2026-11-09 at 03:25:07 UTC\r\nslice 3\r\n");
    EXPECT_EQ(dynamic_cast<const CForeignDoc&>(*doc).GetStartDate(),
              std::chrono::sys_days(std::chrono::year(2026) / 11 / 9));
    // Another rate of the same recording has other positions, and a side-car of its own.
    doc->fileComment = "of ns2";
    ASSERT_TRUE(doc->OnSaveDocument());
    sample.fileName = "x.ns5";
    doc = Open(sample);
    EXPECT_NE(doc->fileComment, "of ns2");
    doc->fileComment = "of ns5";
    EXPECT_TRUE(doc->OnSaveDocument());
    for (const char* name : {"x.ns2", "x.ns5"}) {
        sample.fileName = name;
        EXPECT_EQ(Open(sample)->fileComment, std::string("of ") + (name + 2));
    }
}

// Records of 512 samples of 1 ms, each with its number as value, of which only the first count; and events.
TEST_F(StreamTest, NeuralynxRecordsThatAreNotFull) {
    const struct {
        const char* what;
        std::vector<std::pair<int64_t, uint32_t>> records;  // place of the first, how many count
        std::vector<uint32_t> runs;
        std::vector<int64_t> events;
        const char* marks;
    } rows[] = {
        {"followed at once", {{0, 512}, {512, 100}, {612, 512}, {1124, 512}}, {1636}, {1130}, "1130-1131x"},
        {"followed later", {{0, 512}, {512, 100}, {812, 512}}, {612, 200, 512}, {815}, "815-816x"},
        {"followed where a full one ends",
         {{0, 512}, {512, 100}, {1024, 512}},
         {612, 412, 512},
         {1030},
         "1030-1031x"},
        {"a clock set back",
         {{5000, 512}, {5512, 512}, {0, 512}, {512, 512}},
         {2048},
         {5100, 100, 600},
         "100-101x 1124-1125x 1624-1625x"},
    };
    for (const auto& [what, places, runs, events, marks] : rows) {
        std::vector<NcsRecord> records;
        std::vector<int16_t> words;
        for (const auto& [place, valid] : places) {
            records.push_back({place * 1000, valid});
            words.insert(words.end(), 512, static_cast<int16_t>(records.size()));
        }
        Bytes nev;
        nev.data = BytesOf("######## Neuralynx Data File Header");
        nev.data.resize(16384);
        for (const int64_t event : events) {
            nev.I16(0).I16(0).I16(0).Raw(event * 1000);
            nev.data.resize(nev.data.size() + 42);
            nev.U8('x');
            nev.data.resize(nev.data.size() + 127);
        }
        const auto doc =
            Open({"", "a.ncs", Ncs("a", records, words), {}, 1.0, {}, {}, false, {{"E.nev", nev.data}}});
        ASSERT_TRUE(doc) << what << host.LastMessage();
        std::vector<uint32_t> found;
        for (int run = 0; run < static_cast<int>(runs.size()); ++run) found.push_back(doc->GetRun(0, run));
        EXPECT_EQ(found, runs) << what;
        EXPECT_EQ(Events(*doc), std::vector<std::string>{std::string("E: ") + marks}) << what;
    }
}

// The second file goes on after a pause of 100 samples; either is opened.
TEST_F(StreamTest, NeuralynxFilesThatWereSplit) {
    std::vector<int16_t> words(2 * 512);
    for (size_t i = 0; i < words.size(); ++i) words[i] = static_cast<int16_t>(i);
    const std::vector<int16_t> more(words.begin(), words.begin() + 512);
    files.Put("/A.ncs", Ncs("A", {{0}, {512000}}, words));
    files.Put("/A_0001.ncs", Ncs("A", {{1124000}}, more));
    files.Put("/B_0001.ncs", Ncs("B", {{0}}, more));
    for (const char* path : {"/A.ncs", "/A_0001.ncs"}) {
        const auto doc = Reopen(path);
        ASSERT_TRUE(doc) << host.LastMessage();
        ASSERT_EQ(doc->traceCount, 2) << "B has no file that it continues";
        EXPECT_EQ(doc->GetLength(), 1636);
        EXPECT_EQ(std::vector({doc->GetRun(0, 0), doc->GetRun(0, 1), doc->GetRun(0, 2)}),
                  (std::vector<uint32_t>{1024, 100, 512}));
        EXPECT_FLOAT_EQ(All(*doc, 0)[1124 + 300], 300 * 0.061035f);
    }
    // To the last record, behind the gap.
    request.settings = {{"from", "1.635"}};
    const auto last = Reopen("/A.ncs");
    ASSERT_TRUE(last) << host.LastMessage();
    EXPECT_EQ(last->GetLength(), 1);
    EXPECT_FLOAT_EQ(All(*last, 0)[0], 511 * 0.061035f);
}

// Blocks that begin at ticks of 1/30 ms, as long as they are at a sample a millisecond; events at ticks.
TEST_F(StreamTest, BlackrockEventsBehindARestart) {
    const struct {
        std::vector<std::pair<uint32_t, uint32_t>> blocks;
        std::vector<uint32_t> events;
        const char* marks;
    } rows[] = {
        {{{0, 60000}, {0, 90000}}, {900000, 3000, 2250000}, "30000-30001 60100-60101 135000-135001"},
        {{{0, 300}, {0, 90000}}, {3000, 1500, 2250000}, "100-101 350-351 75300-75301"},
        {{{0, 60000}, {2100000, 1000}}, {900000, 2130000}, "30000-30001 71000-71001"},
        {{{0, 10}, {300, 10}, {600, 10}, {1500, 10}, {1800, 7}}, {610, 1810}, "20-21 60-61"},
    };
    for (const auto& [blocks, events, marks] : rows) {
        Bytes out = NsxHead("NEURALCD", 2, 30, 30000);
        for (const auto& [time, count] : blocks) {
            out.U8(1).U32(time).U32(count);
            for (uint32_t i = 0; i < count; ++i) out.I16(static_cast<int16_t>(time / 30 + i)).I16(0);
        }
        Bytes nev;
        nev.data = BytesOf("NEURALEV");
        nev.U8(2).U8(3).I16(1).U32(336).U32(24).U32(30000).U32(30000);
        nev.data.resize(336);
        for (const uint32_t time : events) {
            nev.U32(time).U16(0);
            nev.data.resize(nev.data.size() + 18);
        }
        const auto doc = Open({"", "b.ns2", out.data, {}, 1.0, {}, {}, false, {{"b.nev", nev.data}}});
        ASSERT_TRUE(doc) << host.LastMessage();
        EXPECT_EQ(Events(*doc), std::vector<std::string>{std::string("Digital: ") + marks});
        EXPECT_EQ(host.messages.size(), 0u) << host.LastMessage();
    }
    // Equal blocks of ten samples and a shorter one: 30 together, then 20 missing.
    auto doc = Reopen("/b.ns2");
    EXPECT_EQ(doc->GetLength(), 67);
    EXPECT_FLOAT_EQ(All(*doc, 0)[25], 25 * 0.25f);
    EXPECT_FLOAT_EQ(All(*doc, 0)[66], 66 * 0.25f);
}

// What a file lacks is told, and the rest opens.
TEST_F(StreamTest, WhatIsMissingIsTold) {
    const auto cut = [](FormatSample sample, size_t bytes, size_t atMost = SIZE_MAX) {
        auto& data = sample.samplesIn.empty() ? sample.bytes : sample.beside[0].second;
        data.resize(std::min(data.size() - bytes, atMost));
        return sample;
    };
    FormatSample glx = GlxSample(10);
    std::string meta = "fileSizeBytes=90";
    glx.beside[0].second =
        BytesOf("typeThis=nidq\nnSavedChans=1\nniSampRate=1000\nsnsMnMaXaDw=0,0,1,0\n" + meta);
    FormatSample bad = NsxSample(false);
    bad.bytes[446 + 9 + 4000 * 4] = std::byte{7};
    FormatSample other = NcsSample();
    other.beside.push_back({"x.nev", BytesOf("NEURALEV and more")});
    FormatSample half = NsxSample(false);
    half.beside.push_back({"x.nev", BytesOf("NEURALEV")});
    FormatSample lost = OebinSample(30);
    std::string tree(reinterpret_cast<const char*>(lost.bytes.data()), lost.bytes.size());
    tree.insert(tree.find("{\"folder_name\""), R"({"folder_name": "Lost-1", "channels": [{}]}, )");
    lost.bytes = BytesOf(tree);
    const std::pair<FormatSample, const char*> rows[] = {
        {lost, "2 (Board-100.Probe), 3 (Slow-101)"},
        {lost, "whose samples are not here: Lost-1."},
        {cut(RhdSample(2, 6), 5), "ends within a data block"},
        {cut(NcsSample(), 1000), "within a record, which is left out: "},
        {cut(NsxSample(false), 400), "its last data block states 3000 samples and holds 2900."},
        {bad, "at byte 16455 no data block begins."},
        {glx, "holds 80 of the 90 bytes"},
        {other, "x.nev is no Neuralynx event file"},
        {half, "x.nev stands beside this recording"},
    };
    for (auto [sample, words] : rows) {
        for (const char* name : {"/x.nev", "/CSC2.ncs"})
            if (files.Has(name)) files.Remove(name);
        sample.settings.clear();
        ASSERT_TRUE(Open(sample)) << words << host.LastMessage();
        std::string said;
        for (const auto& message : host.messages) said += message.text;
        EXPECT_NE(said.find(words), std::string::npos) << said;
    }
}

}  // namespace
}  // namespace kymora::test
