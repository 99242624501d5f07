// Files of other systems: what stands in them beside the samples, what is refused and with which words.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "document/side_car.h"
#include "import/axon_doc.h"
#include "import/foreign_samples.h"
#include "import/reader_fixture.h"

namespace kymora::test {
namespace {

struct Found {
    int32_t on, off;
    std::string label;
    float value = 0.0f;
    bool operator==(const Found&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Found& f) {
    return out << f.on << "-" << f.off << " \"" << f.label << "\" " << f.value;
}

class ForeignDocTest : public ReaderTest {
  protected:
    std::unique_ptr<CDataDoc> Open(const char* path, const std::vector<std::byte>& bytes) {
        files.Put(path, bytes);
        host.Forget();
        return Reopen(path);
    }
    std::unique_ptr<CDataDoc> Open(const FormatSample& sample) {
        return Open(("/" + sample.fileName).c_str(), sample.bytes);
    }
    std::string Refusal(const char* path, const std::vector<std::byte>& bytes) {
        EXPECT_FALSE(Open(path, bytes)) << path;
        return host.LastMessage();
    }
    static std::vector<Found> Events(const CDataDoc& doc, size_t channel) {
        std::vector<Found> found;
        for (const CEventKM& e : doc.eventChannels[channel].Events())
            found.push_back({e.onPosition, e.offPosition, std::string(e.eventLabel.View()), e.eventValue});
        return found;
    }
};

// A waveform of 4 ticks, and a channel of each kind of event.
SonImage SonWithEvents() {
    SonImage image(32);
    image.Channel(1, 1, "wave", 4).Wave(1, 0, 4, Noise16(500, 1));
    image.Channel(2, 2, "fall").Channel(3, 3, "rise").Channel(4, 4, "level").Channel(31, 5, "Keyboard");
    image.Channel(6, 6, "units", 4, 64)
        .Channel(7, 7, "real", 0, 8)
        .Channel(8, 8, "text", 0, 12)
        .Channel(9, 9, "RealWave");
    image.I16(image.Record(6) + 18, 10).I16(image.Record(6) + 106, 1);
    image.Numbers(image.Block(2, 40, 82, 3, 12), std::vector<int32_t>{40, 61, 82});
    image.Numbers(image.Block(3, 8, 8, 1, 4), std::vector<int32_t>{8});
    image.U8(image.Record(4) + 124, 1)
        .Numbers(image.Block(4, 100, 400, 3, 12), std::vector<int32_t>{100, 200, 400});
    const auto marker = [&](size_t at, int tick, std::string_view codes) {
        image.I32(at, tick).Text(at + 4, codes);
    };
    const size_t keys = image.Block(31, 12, 120, 2, 16);
    marker(keys, 12, std::string_view("A\0\0\0", 4)),
        marker(keys + 8, 120, std::string_view("b\x01\0\xFE", 4));
    const size_t units = image.Block(6, 400, 800, 3, 3 * 72);
    for (int i = 0; i < 3; ++i)
        marker(units + 72 * static_cast<size_t>(i), 400 + 200 * i,
               std::string(1, static_cast<char>(i)) + std::string(3, '\0'));
    const size_t real = image.Block(7, 44, 44, 1, 16);
    marker(real, 44, std::string_view("\x02\0\0\0", 4)), image.F32(real + 8, -1.5).F32(real + 12, 9.0);
    const size_t text = image.Block(8, 1600, 1600, 1, 20);
    marker(text, 1600, std::string_view("\0\0\0\0", 4)), image.Text(text + 8, "drop \xB5g");
    return image;
}

TEST_F(ForeignDocTest, EverySpike2ChannelHasItsAction) {
    const auto doc = Open("/x.smr", SonWithEvents().data);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->traceCount, 1);
    EXPECT_EQ(doc->traces[0].traceUnits, "mV");
    const std::vector<Found> wanted[] = {
        {{10, 11, ""}, {15, 16, ""}, {21, 22, ""}},
        {{2, 3, ""}},
        {{25, 50, "CED Event Rise"}, {100, 1250, "CED Event Rise"}},
        {{100, 132, "", 0}, {150, 182, "", 1}, {200, 232, "", 2}},
        {{11, 12, "02", -1.5f}},
        {{400, 401, "drop \u00B5g"}},
        {{3, 4, "A"}, {30, 31, "b 01 00 FE"}},
    };
    const char* labels[] = {"fall", "rise", "level", "units", "real", "text", "Keyboard"};
    for (size_t c = 0; c < std::size(wanted); ++c) {
        EXPECT_EQ(Events(*doc, c), wanted[c]) << labels[c];
        EXPECT_EQ(doc->eventChannels[c].channelLabel, labels[c]);
    }
    const CEventChan& units = doc->eventChannels[3];
    EXPECT_EQ(units.channelComment, "wavemark: pre-trig samples = 10");
    EXPECT_EQ(units.parentTrace, 0);
    EXPECT_EQ(units.Events()[0].eventColour, 0u);
    EXPECT_NE(units.Events()[1].eventColour, units.Events()[2].eventColour);
    EXPECT_NE(doc->fileComment.find("3:25:7 on 9-11-2026"), std::string::npos) << doc->fileComment;
    EXPECT_EQ(doc->GetStartClock(), (3 * 3600 + 25 * 60 + 7) * 1000.0);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_TRUE(host.LastMessage().starts_with("Kymora has detected a RealWave channel type."));
    for (const char* line :
         {"chan 1 ADC data\n", "chan 3 EventRise or Fall (rise if not preceded by fall trace)\n",
          "chan 9 RealWave, waveform of float numbers \n", "chan 5 OFF\n"})
        EXPECT_NE(host.LogText().find(line), std::string::npos) << line;
}

TEST_F(ForeignDocTest, Spike2FilesWithoutAWaveformHoldEventsOnly) {
    SonImage image(32);
    image.Channel(2, 4, "level");
    image.Numbers(image.Block(2, 0, 9, 1, 4), std::vector<int32_t>{9});
    const auto doc = Open("/x.smr", image.data);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(doc->noData);
    EXPECT_EQ(doc->GetLength(), 5001);
    EXPECT_DOUBLE_EQ(doc->sampleInterval, 0.02);
    EXPECT_EQ(Events(*doc, 0), (std::vector<Found>{{0, 9, "CED Event Fall"}}))
        << "it was high from the beginning";
    EXPECT_EQ(host.LastMessage(),
              "There are no waveform data channels in this file. Creating a read-only 0-filled dummy.");
}

TEST_F(ForeignDocTest, Spike2LimitsAreToldInTheirWords) {
    SonImage slow = SonWithEvents();
    slow.Channel(6, 6, "units", 8, 64);
    const auto doc = Open("/x.smr", slow.data);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(host.LastMessage().starts_with(
        "Kymora cannot read CED Spike wavemark channels recorded at a reduced"));
    EXPECT_EQ(doc->eventChannels[3].channelLabel, "real") << "the others are there";
    SonImage many(150);
    for (int c = 1; c <= 129; ++c) many.Channel(c, 1, "w", 4).Wave(c, 0, 4, {1, 2});
    EXPECT_EQ(Refusal("/x.smr", many.data),
              "There are more than 128 data channels in this file. Kymora can only handle 128");
}

TEST_F(ForeignDocTest, DamagedSpike2FilesShowWhatIsThere) {
    const auto good = SonWithEvents().data;
    SonImage still = SonWithEvents();
    still.I16(still.Record(1) + 138, 0);
    EXPECT_EQ(Refusal("/x.smr", still.data), "Channel 1 of this file states no time between its samples.");
    SonImage apart = SonWithEvents();
    apart.Channel(12, 1, "slow", 65000).Wave(12, 0, 65000, {1, 2});
    EXPECT_TRUE(Open("/x.smr", apart.data));
    // Without its last block.
    EXPECT_TRUE(Open("/x.smr", {good.begin(), good.end() - 512}));
    EXPECT_EQ(host.messages.size(), 2u);
    EXPECT_NE(host.LastMessage().find("1 of its blocks cannot be found"), std::string::npos)
        << host.LastMessage();
    EXPECT_NE(Refusal("/x.smr", BytesOf("MZ")).find("Error CED File not opened"), std::string::npos);
}

TEST_F(ForeignDocTest, SixtyFourBitSpike2FilesAreNamed) {
    EXPECT_EQ(Refusal("/x.smrx", {}), "This file is empty.");
    EXPECT_EQ(Refusal("/x.smrx", SonWithEvents().data),
              "Error opening file. Is this really a 64-bit Spike2 file?");
    EXPECT_TRUE(
        Refusal("/x.smrx", BytesOf("S64 of some kind")).starts_with("x.smrx is a 64-bit Spike2 file."));
}

TEST_F(ForeignDocTest, CfsFramesAreEpisodesWithTheirVariables) {
    const FormatSample sample = CfsSample();
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_TRUE(doc->episodic);
    EXPECT_EQ(Events(*doc, 0), (std::vector<Found>{{0, 1, "Sweep trigger point. Start 0 s"},
                                                   {600, 601, "Sweep trigger point. Start 1.5 s. wash"}}));
    EXPECT_EQ(doc->fileComment,
              "a cell\r\nCreated on 09/11/26 at 03:25:07\r\nFrame 1: Start: 0 s, Drug: TTX\r\n"
              "Frame 2: Start: 1.5 s, Comment: wash, Drug: TTX\r\n");
    // The fields of the header and of the second frame, one wrong at a time.
    int32_t last = 0;
    std::memcpy(&last, sample.bytes.data() + 52, 4);
    const auto frame = static_cast<size_t>(last);
    const struct {
        std::function<void(FileImage&)> damage;
        const char* words;
    } wrong[] = {
        {[](FileImage& f) { f.U8(178 + 42, 4); }, "Can only handle INT2, RL4 or RL8 type data"},
        {[](FileImage& f) { f.U8(178 + 43, 1); }, "not sampled at equal intervals"},
        {[=](FileImage& f) { f.F32(frame + 46, 0.2).F32(frame + 70, 0.2); },
         "Can't handle different timebases in different sections."},
        {[=](FileImage& f) { f.F32(178, 0).I32(52, last).Pascal(178 + 48 + 32, "s"); },
         "can only handle CFS files in which all channels"},
        {[=](FileImage& f) { f.F32(frame + 38, 0.0); }, "states a scale of 0"},
        {[](FileImage& f) { f.I16(42, 101); }, "its header is damaged"},
        {[=](FileImage& f) { f.I32(frame + 34, 401); }, "lie outside of their frame"},
        {[=](FileImage& f) { f.I32(frame + 4, 100); }, "lie outside of their frame"},
        {[=](FileImage& f) { f.I32(frame + 4, frame - 700); }, "its frames lie upon each other"},
    };
    for (const auto& [damage, words] : wrong) {
        FileImage image;
        image.data = sample.bytes;
        damage(image);
        EXPECT_NE(Refusal("/x.cfs", image.data).find(words), std::string::npos)
            << words << ": " << host.LastMessage();
    }
    // Lost: the chain of the frames leads to them; odd: its start is a text.
    FileImage image;
    image.data = sample.bytes;
    image.I32(134, 0).U8(178 + 96 + 36 + 22, 7);
    doc = Open("/x.cfs", image.data);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetNumEvents(0), 2);
    EXPECT_EQ(host.LastMessage(),
              "Warning: problem reading frame start times. CED reports Start in units of s, with "
              "CFS data type 7. Please inform author.");
}

TEST_F(ForeignDocTest, AxonSweepsAreEpisodesAndTagsFollowTheirClock) {
    auto doc = Open(AbfSample1(5));
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_TRUE(doc->episodic);
    EXPECT_EQ(doc->traces[0].traceLabel, "Vm");
    EXPECT_EQ(doc->traces[0].traceUnits, "mV");
    EXPECT_EQ(Events(*doc, 0),
              (std::vector<Found>{{0, 1, "Episode trigger point."}, {300, 301, "Episode trigger point."}}));
    EXPECT_EQ(Events(*doc, 1), (std::vector<Found>{{299, 300, "between"}, {350, 351, "drug on"}}));
    EXPECT_EQ(doc->fileComment, "Created: 9/11/2026 (d/m/y) at 03:25:07\r\nAcquisition mode: episodic "
                                "stimulation\r\n2 sweeps of 12.00 ms "
                                "(300 samples per channel)\r\n\r\n\r\nConcatenated sweeps: start marked by "
                                "events in channel a.\r\nslice 3\r\n");
    const char* modes[] = {"",
                           "variable-length event-detection\r\n2 variable-length segments\r\nPre- and "
                           "post-trigger length: 20 samples",
                           "fixed-length event-detection\r\n2 sweeps of 12.00 ms (300 samples per "
                           "channel)\r\nPre-trigger length: 20",
                           "gap free\r\n\t (standard chart type)\r\n", "high-speed oscilloscope\r\n"};
    for (int mode = 1; mode <= 4; ++mode) {
        doc = Open(AbfSample1(mode));
        ASSERT_TRUE(doc);
        EXPECT_NE(doc->fileComment.find(modes[mode]), std::string::npos) << doc->fileComment;
        EXPECT_EQ(doc->episodic, mode != 3);
        // With one run the tags stand where they were set, and in channel a.
        if (mode == 3) {
            EXPECT_EQ(Events(*doc, 0)[0], (Found{10000, 10001, "between"}));
        }
    }
    EXPECT_EQ(CAxonDetails(ReadAxonHeader(*files.Open("/x.abf", OpenMode::readOnly))).Rows()[1].second,
              "Episodic");
    const struct {
        size_t at;
        int value;
        const char* words;
    } wrong[] = {{8, 9, "its mode of acquisition, 9, is not known"},
                 {10, 0, "This file does not contain any data."},
                 {120, 17, "Sampling sequence out of range. Please inform the author."},
                 {410, 16, "Sampling sequence out of range."},
                 {0, 0, "ABF_ReadOpen error\nABF Error: "},
                 {40, 3, "its data lie in its header"},
                 {38, 1, "its numbers have a form"}};
    for (const auto& [at, value, words] : wrong) {
        FileImage image;
        image.data = AbfSample1(5).bytes;
        image.I16(at, value);
        if (at == 10) image.I16(12, 0);
        EXPECT_NE(Refusal("/x.abf", image.data).find(words), std::string::npos)
            << words << ": " << host.LastMessage();
    }
    // A list of sweeps that does not make up the samples: parts of one length.
    FileImage image;
    image.data = AbfSample1(5).bytes;
    image.I32(20 * 512 + 4, 700);
    EXPECT_EQ(Open("/x.abf", image.data)->GetOn(0, 1), 250);
}

TEST_F(ForeignDocTest, DamagedChainsAndListsShowWhatIsSure) {
    using Damage = std::function<void(FileImage&)>;
    const FormatSample son = SonSample(false), cfs = CfsSample(), abf = AbfSample1(5),
                       abf2 = AbfSample2(false, 3);
    const auto i32At = [](const FormatSample& sample, size_t at) {
        int32_t value = 0;
        std::memcpy(&value, sample.bytes.data() + at, sizeof value);
        return value;
    };
    const auto record = [](int channel) { return 512 + 140 * static_cast<size_t>(channel - 1); };
    const auto first = static_cast<size_t>(i32At(son, record(1) + 6)),
               second = static_cast<size_t>(i32At(son, first + 4));
    const auto frame = static_cast<size_t>(i32At(cfs, 52));
    const auto cutTo = [](size_t length) { return [=](FileImage& f) { f.data.resize(length); }; };
    const struct {
        const FormatSample& sample;
        Damage damage;
        int64_t length;             // 0: refused
        std::vector<Found> events;  // of the first channel
        const char* words;          // of a message or the comment
    } rows[] = {
        {son,
         [=](FileImage& f) { f.I32(second + 4, static_cast<int>(first)); },
         546,
         {},
         "channel 1 lead back to earlier"},
        {son,
         [=](FileImage& f) { f.I32(second + 4, static_cast<int>(second)); },
         546,
         {},
         "channel 1 lead back to earlier"},
        {son, [=](FileImage& f) { f.I16(record(1) + 14, 1); }, 550, {}, ""},
        {son, [=](FileImage& f) { f.I16(record(1) + 14, 5); }, 550, {}, "2 of its blocks cannot be found"},
        {son,
         [=](FileImage& f) { f.I32(record(3) + 6, static_cast<int>(first)); },
         0,
         {},
         "lie upon each other"},
        {son, [=](FileImage& f) { f.I32(record(3) + 6, 600); }, 0, {}, "lies in its header"},
        {son, [=](FileImage& f) { f.I16(record(7) + 24, 199); }, 0, {}, "more than its size allows"},
        {son, [=](FileImage& f) { f.I16(record(7) + 22, 419); }, 0, {}, "more than its size allows"},
        {cfs, cutTo(frame + 10), 600, {{0, 1, "Sweep trigger point. Start 0 s"}}, "1 of its 2 frames"},
        {cfs,
         [=](FileImage& f) { f.I16(56, 30000).I32(frame + 34, -5).I32(frame + 58, -5); },
         600,
         {{0, 1, "Sweep trigger point. Start 0 s"}},
         "29998 of its 30000 frames"},
        {cfs,
         [=](FileImage& f) { f.I32(frame + 34, -5); },
         1000,
         {},
         "1 of the stretches of its channels state a negative"},
        {cfs,
         [=](FileImage& f) { f.U8(178 + 96 + 36 + 22, 9); },
         1000,
         {{0, 1, "Sweep trigger point."}, {600, 601, "Sweep trigger point. wash"}},
         "with CFS data type 9"},
        {cfs,
         [=](FileImage& f) { f.U8(178 + 96 + 36 + 22, 4).I32(frame + 78, 123456789); },
         1000,
         {{0, 1, "Sweep trigger point. Start 0 s"},
          {600, 601, "Sweep trigger point. Start 123456789 s. wash"}},
         ""},
        {cfs,
         [=](FileImage& f) { f.Pascal(178 + 32, "Hz").Pascal(178 + 48 + 32, "Hz"); },
         1000,
         {},
         "units of Hz, which is no time"},
        {abf,
         cutTo(20 * 512 + 10),
         500,
         {{0, 1, "Episode trigger point."}, {300, 301, "Episode trigger point."}},
         "times of its sweeps"},
        {abf,
         [](FileImage& f) { f.I32(138, 250).data.resize(20 * 512); },
         500,
         {{0, 1, "Episode trigger point."},
          {125, 126, "Episode trigger point."},
          {250, 251, "Episode trigger point."},
          {375, 376, "Episode trigger point."}},
         "times of its sweeps"},
        {abf, cutTo(30 * 512 + 100), 500, {}, "holds 1 of the 2 tags"},
        {abf,
         [](FileImage& f) { f.I32(16, 2000000000).I32(92, 0); },
         500,
         {{0, 1, "Episode trigger point."}},
         "states 2000000000 sweeps"},
        {abf, [](FileImage& f) { f.I32(20, 50611); }, 500, {}, "Created: 11/6/2005"},
        {abf, [](FileImage& f) { f.I32(20, 20260229); }, 500, {}, "Acquisition mode: episodic"},
        {abf,
         [](FileImage& f) {
             f.I16(2298, 1)
                 .I16(2302, 1)
                 .Text(1316, "Cmd 1")
                 .Text(1354, "pA")
                 .I16(2330, 2)
                 .F32(2392, -20)
                 .F32(2472, 5);
             f.I32(2552, 100).I32(2632, -3);
         },
         500,
         {},
         "Cmd 1, epoch B: ramp to -20 pA, +5 each sweep, 100 samples, -3 each sweep\r\n"},
        {abf2, [](FileImage& f) { f.I32(236, 1); }, 0, {}, "its sections lie upon each other"},
        {abf2,
         [](FileImage& f) {
             f.I32(252, 40)
                 .I32(256, 72)
                 .Put<int64_t>(260, 2)
                 .I32(40 * 512, 30)
                 .Text(40 * 512 + 4, "a")
                 .I32(40 * 512 + 72, 60);
             f.Text(40 * 512 + 76, "b").data.resize(40 * 512 + 144);
         },
         700,
         {{10, 11, "a"}, {20, 21, "b"}},
         ""},
    };
    for (size_t r = 0; r < std::size(rows); ++r) {
        SCOPED_TRACE(r);
        FileImage image;
        image.data = rows[r].sample.bytes;
        rows[r].damage(image);
        const auto doc = Open(("/" + rows[r].sample.fileName).c_str(), image.data);
        std::string told = doc ? doc->fileComment : "";
        for (const auto& message : host.messages) told += message.text;
        EXPECT_NE(told.find(rows[r].words), std::string::npos) << told;
        EXPECT_EQ(doc ? doc->GetLength() : 0, rows[r].length);
        if (doc && !rows[r].events.empty()) {
            EXPECT_EQ(Events(*doc, 0), rows[r].events);
        }
    }
    // No converter is needed for numbers in the user's unit.
    FileImage image;
    image.data = AbfSample2(true, 2).bytes;
    image.F32(512 + 110, 0.0);
    EXPECT_TRUE(Open("/x.abf", image.data)) << host.LastMessage();
    // A level that never fell.
    SonImage level(32);
    level.Channel(2, 4, "level");
    const auto doc = Open("/x.smr", level.data);
    ASSERT_TRUE(doc);
    EXPECT_EQ(Events(*doc, 0), (std::vector<Found>{{0, 5000, ""}}));
}

TEST_F(ForeignDocTest, AudioFilesKeepTextsCuesAndTheListBeside) {
    FileImage image;
    image.data = WavSample(1, 2, 2).bytes;
    const size_t end = image.data.size();
    image.Text(end, "cue ").I32(end + 4, 28).I32(end + 8, 1).I32(end + 12, 5).I32(end + 32, 120);
    image.Text(end + 36, "LIST")
        .I32(end + 40, 36)
        .Text(end + 44, "adtl")
        .Text(end + 48, "labl")
        .I32(end + 52, 8);
    image.I32(end + 56, 5)
        .Text(end + 60, "stim")
        .Text(end + 64, "ltxt")
        .I32(end + 68, 8)
        .I32(end + 72, 5)
        .I32(end + 76, 30);
    image.data.resize(end + 80);
    files.Put("/x-events.txt", BytesOf("# Marker ID, Time\n1, 0.01\n2,\t0.005\n1, 0.02\nodd, x\n"));
    const auto doc = Open("/x.wav", image.data);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(Events(*doc, 0), (std::vector<Found>{{120, 150, "stim"}}));
    EXPECT_EQ(Events(*doc, 1), (std::vector<Found>{{80, 81, ""}, {160, 161, ""}}));
    EXPECT_EQ(Events(*doc, 2), (std::vector<Found>{{40, 41, ""}}));
    EXPECT_EQ(doc->fileComment, "Comment: abc\r\n");
    for (const auto& [tag, words] : {std::pair(6, "compressed"), std::pair(17, "not known")}) {
        image.I16(44, tag);
        EXPECT_NE(Refusal("/x.wav", image.data).find(words), std::string::npos) << host.LastMessage();
    }
    // A size that is only told elsewhere, as of files above 4 GB.
    FileImage large;
    large.Text(0, "RF64")
        .I32(4, -1)
        .Text(8, "WAVEds64")
        .I32(16, 28)
        .Put<int64_t>(20, 0)
        .Put<int64_t>(28, 6)
        .Put<int64_t>(36, 3);
    large.I32(44, 0).Text(48, "fmt ").I32(52, 16).I16(56, 1).I16(58, 1).I32(60, 100).I16(68, 2).I16(70, 16);
    large.Text(72, "data").I32(76, -1).I16(80, 1).I16(82, -2).I16(84, 3).Text(86, "LIST").I32(90, 0);
    const auto wide = Open("/y.wav", large.data);
    ASSERT_TRUE(wide) << host.LastMessage();
    EXPECT_EQ(All(*wide, 0), (std::vector<float>{1, -2, 3}));
}

TEST_F(ForeignDocTest, AxographSweepsJoinOrStandBesideEachOther) {
    const FormatSample sample = AxographSample(true);
    auto doc = Open(sample);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(Events(*doc, 0).size(), 2u);
    EXPECT_EQ(doc->GetOn(0, 1), 900);
    EXPECT_EQ(doc->traces[1].traceUnits, "V");
    request.settings = {{"sweeps", "traces"}};
    doc = Open(sample);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 4);
    EXPECT_EQ(doc->GetNumEvents(0), 0);
    EXPECT_EQ(doc->CountValid(2, 0, 900), 300);
    EXPECT_TRUE(doc->hasGaps);
}

TEST_F(ForeignDocTest, WinDaqMarkersAndNames) {
    for (const bool isFine : {false, true}) {
        const auto doc = Open(WdqSample(isFine));
        ASSERT_TRUE(doc) << host.LastMessage();
        EXPECT_EQ(Events(*doc, 0), (std::vector<Found>{{9, 10, "clamp"}, {700, 701, ""}}));
        EXPECT_EQ(doc->traces[0].traceLabel, "Aorta");
        EXPECT_EQ(doc->traces[1].traceLabel, "Channel 2");
        EXPECT_EQ(doc->traces[2].traceLabel, "LV");
        EXPECT_EQ(doc->traces[2].traceUnits, "mmHg");
    }
    FileImage image;
    image.data = WdqSample(false).bytes;
    image.I16(100, 0x4000);
    EXPECT_NE(Refusal("/x.wdq", image.data).find("it is packed"), std::string::npos);
}

// Files of another writer; A is a sine of single precision, B counts along a row.
TEST_F(ForeignDocTest, MatlabFilesOfAllVersionsGiveTheirVectors) {
    const auto bytesOf = [](const std::string& name) {
        std::ifstream file(std::string(KYMORA_DOCS) + "/../fuzz/corpus/foreign/" + name, std::ios::binary);
        return BytesOf(std::string(std::istreambuf_iterator<char>(file), {}));
    };
    for (const char* name : {"plain.mat", "packed.mat", "old.mat"}) {
        const auto doc = Open("/x.mat", bytesOf(name));
        ASSERT_TRUE(doc) << name << ": " << host.LastMessage();
        EXPECT_TRUE(host.messages.empty()) << "the file tells its interval";
        EXPECT_DOUBLE_EQ(doc->sampleInterval, 0.1);
        ASSERT_EQ(doc->traceCount, 2);
        const auto a = All(*doc, 0), b = All(*doc, 1);
        ASSERT_EQ(a.size(), 120u);
        for (size_t i = 0; i < a.size(); ++i) {
            EXPECT_NEAR(a[i], std::sin(static_cast<double>(i) / 9.0), 1e-7) << name << " " << i;
            EXPECT_EQ(b[i], static_cast<float>(i)) << name;
        }
    }
    auto doc = Open("/x.mat", bytesOf("struct.mat"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[0].traceLabel, "EMG");
    EXPECT_EQ(doc->traces[0].traceUnits, "mV");
    EXPECT_DOUBLE_EQ(doc->sampleInterval, 1.0);
    request.settings = {{"variables", "B"}, {"sampleInterval", "2.5"}};
    doc = Open("/x.mat", bytesOf("packed.mat"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 1);
    EXPECT_EQ(doc->traces[0].traceLabel, "B");
    EXPECT_EQ(doc->sampleInterval, 2.5);
    EXPECT_EQ(Refusal("/x.mat", BytesOf("MATLAB 7.3 MAT-file and so on")),
              "This is no HDF5 file, or it is cut off.");
}

// Elements of a MATLAB file of version 5: a tag, and bytes filled up to a multiple of eight.
std::string MatElement(int32_t type, std::string_view bytes) {
    const auto length = static_cast<int32_t>(bytes.size());
    std::string text(8, '\0');
    std::memcpy(text.data(), &type, 4);
    std::memcpy(text.data() + 4, &length, 4);
    return (text += bytes).append((8 - bytes.size() % 8) % 8, '\0');
}
template <typename T>
std::string Raw(std::vector<T> numbers) {
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(T)};
}
std::string MatMatrix(const std::string& name, int32_t kind, int32_t columns, const std::string& body) {
    return MatElement(14, MatElement(6, Raw<int32_t>({kind, 0})) + MatElement(5, Raw<int32_t>({1, columns})) +
                              MatElement(1, name) + body);
}
std::string MatDoubles(const std::string& name, std::vector<double> values) {
    const auto count = static_cast<int32_t>(values.size());
    return MatMatrix(name, 6, count, MatElement(9, Raw(std::move(values))));
}
// A structure as a recorder exports each channel.
std::string MatChannel(const std::string& name, double interval, std::vector<double> values) {
    std::string names(16, '\0');
    names.replace(0, 8, "interval").replace(8, 6, "values");
    return MatMatrix(name, 2, 1,
                     MatElement(5, Raw<int32_t>({8})) + MatElement(1, names) + MatDoubles("", {interval}) +
                         MatDoubles("", std::move(values)));
}
std::vector<std::byte> MatOf(const std::string& variables) {
    std::string head("MATLAB 5.0 MAT-file");
    head.resize(128, ' ');
    head.replace(124, 4, std::string_view("\0\1IM", 4));
    return BytesOf(head + variables);
}

std::vector<double> EvenTimes(double start, double step, int count) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) times.push_back(start + step * i);
    return times;
}

TEST_F(ForeignDocTest, MatlabVariablesHaveTheIntervalsThatBelongToThem) {
    const auto slow = EvenTimes(0, 1, 10), fast = EvenTimes(500, 1, 100);
    const std::string both = MatChannel("A", 1e-3, slow) + MatChannel("B", 1e-4, fast);
    const struct {
        std::string variables, choice;
        double interval;  // 0: refused
        const char* says;
    } cases[] = {
        {both, "", 0.1, ""},
        {both, "A.values", 1.0, ""},
        {both, "A.values,B.values", 0, "A.values has a sample interval of 1 ms and B.values of 0.1 ms"},
        {MatDoubles("t", EvenTimes(3600, 1e-4, 10)) + MatDoubles("v", slow), "", 0.1, ""},
        {MatDoubles("t", EvenTimes(0, 1e-3, 10)), "", 0, "holds times only"},
        {MatDoubles("dt", {2e-3}) + MatDoubles("a,b", slow) + MatDoubles("a,b", slow), "\"a,b (2)\"", 2.0,
         ""},
        {both.substr(0, both.size() - 8), "", 1.0, "x.mat is cut off"},
    };
    for (const auto& [variables, choice, interval, says] : cases) {
        request.settings.clear();
        if (!choice.empty()) request.settings["variables"] = choice;
        const auto doc = Open("/x.mat", MatOf(variables));
        EXPECT_EQ(doc != nullptr, interval > 0.0) << choice;
        if (doc) {
            EXPECT_EQ(doc->sampleInterval, interval) << choice;
            EXPECT_EQ(doc->traceCount, 1);
        }
        EXPECT_EQ(host.messages.empty(), std::string_view(says).empty());
        if (!host.messages.empty()) {
            EXPECT_NE(host.LastMessage().find(says), std::string::npos) << host.LastMessage();
        }
    }
}

// What was added to one choice comes back with it, and never appears on what is no part of it.
TEST_F(ForeignDocTest, SideCarsRememberWhatWasChosen) {
    const FormatSample sweeps = AxographSample(true);
    const struct {
        const char* path;
        std::vector<std::byte> bytes;
        ImportSettings first, other;
        const char* label;  // of the other's first trace
    } cases[] = {
        {"/x.mat",
         MatOf(MatChannel("A", 1e-3, EvenTimes(0, 1, 10)) + MatChannel("B", 1e-4, EvenTimes(0, 1, 100))),
         {{"variables", "A.values"}},
         {{"variables", "B.values"}},
         "B"},
        {"/y.axgx", sweeps.bytes, {{"sweeps", "traces"}}, {{"sweeps", "joined"}}, "Current"},
    };
    for (const auto& [path, bytes, first, other, label] : cases) {
        request.settings = first;
        auto doc = Open(path, bytes);
        ASSERT_TRUE(doc) << host.LastMessage();
        const int count = doc->traceCount;
        doc->traces[0].traceLabel = "mine";
        doc->AddEvent(30, CEventKM{3, 9});
        ASSERT_TRUE(doc->OnSaveDocument());
        request.settings = other;
        doc = Open(path, bytes);
        ASSERT_TRUE(doc) << host.LastMessage();
        EXPECT_EQ(doc->traces[0].traceLabel, label);
        EXPECT_EQ(doc->GetNumEvents(30), 0);
        const auto before = files.Bytes(SideCarPath(files, path));
        EXPECT_FALSE(doc->OnSaveDocument());
        EXPECT_EQ(files.Bytes(SideCarPath(files, path)), before);
        request.settings.clear();
        doc = Open(path, bytes);
        ASSERT_TRUE(doc);
        EXPECT_EQ(doc->traceCount, count);
        EXPECT_EQ(doc->traces[0].traceLabel, "mine");
        EXPECT_EQ(doc->GetOff(30, 0), 9);
    }
}

// The older side-car does not tell whose it is: neither file writes over it.
TEST_F(ForeignDocTest, FilesOfOneNameHaveSideCarsOfTheirOwn) {
    const std::vector<std::byte> wav = WavSample(1, 2, 2).bytes, axgx = AxographSample(true).bytes;
    const auto comment = [&](const char* path, const std::vector<std::byte>& bytes, const char* set) {
        auto doc = Open(path, bytes);
        if (!doc) return std::string("closed");
        if (*set) {
            doc->fileComment = set;
            EXPECT_TRUE(doc->OnSaveDocument()) << host.LastMessage();
        }
        return doc->fileComment;
    };
    comment("/x.wav", wav, "of the audio");
    EXPECT_EQ(comment("/x.wav", wav, ""), "of the audio");
    EXPECT_NE(comment("/x.axgx", axgx, ""), "of the audio");
    comment("/x.axgx", axgx, "of the sweeps");
    EXPECT_TRUE(files.Has("/x.kymr-hdr") && files.Has("/x.axgx.kymr-hdr"));
    EXPECT_EQ(comment("/x.wav", wav, ""), "of the audio");
    EXPECT_EQ(comment("/x.axgx", axgx, ""), "of the sweeps");

    files.Remove("/x.axgx.kymr-hdr");
    auto old = files.Bytes("/x.kymr-hdr");
    old.resize(old.size() - 12);
    files.Put("/x.kymr-hdr", old);
    EXPECT_EQ(comment("/x.axgx", axgx, ""), "of the audio");
    comment("/x.axgx", axgx, "later");
    EXPECT_EQ(files.Bytes("/x.kymr-hdr"), old);
    EXPECT_EQ(comment("/x.wav", wav, ""), "of the audio");
    EXPECT_EQ(comment("/x.axgx", axgx, ""), "later");
}

TEST_F(ForeignDocTest, AxographScalesThatRepeatAreSweeps) {
    FileImage image;
    image.isBig = true;
    image.Text(0, "AxGr").I16(4, 2).I16(6, 5).I32(8, 3).Pascal(12, "Time (s)").F32(92, 0).F32(96, 0.001);
    for (size_t c = 0; c < 4; ++c) {
        const size_t at = 100 + 94 * c;
        image.I32(at, 3).Pascal(at + 4, c == 0   ? "I (\xB5"
                                                   "A)"
                                        : c == 1 ? "V (mV)"
                                        : c == 2 ? ""
                                                 : "Column5");
        image.F32(at + 84, c % 2 == 0 ? 0.5 : 2)
            .I16(at + 88, static_cast<int>(c))
            .I16(at + 90, 1)
            .I16(at + 92, 1);
    }
    auto doc = Open("/x.axgd", image.data);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{0, 0.5, 0.5, 1, 0.5, 0.5}));
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{2, 2, 2, 6, 2, 2}));
    EXPECT_EQ(doc->traces[0].traceUnits, "\u00B5A") << "Mac Roman";
    image.data.resize(image.data.size() - 3);
    doc = Open("/x.axgd", image.data);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->CountValid(1, 0, 6), 4);
    EXPECT_TRUE(host.LastMessage().starts_with("This AxoGraph file is cut off")) << host.LastMessage();
    image.F32(184, 0.0);
    EXPECT_NE(Refusal("/x.axgd", image.data).find("column 2 states a scale of 0"), std::string::npos);
}

TEST_F(ForeignDocTest, AudioTellsWhatItLeavesOut) {
    FileImage image;
    image.data = WavSample(1, 2, 2).bytes;
    const size_t end = image.data.size();
    image.Text(end, "cue ").I32(end + 4, 52).I32(end + 8, 2).I32(end + 32, 1499).I32(end + 36, 1);
    image.I32(end + 56, 1500).I32(end + 60, 0);
    files.Put("/x-events.txt", std::vector<std::byte>((4 << 20) + 1, std::byte{'\n'}));
    ASSERT_TRUE(Open("/x.wav", image.data));
    ASSERT_EQ(host.messages.size(), 2u);
    EXPECT_TRUE(host.messages[0].text.starts_with("1 cue points lie behind the end"))
        << host.messages[0].text;
    EXPECT_TRUE(host.messages[1].text.starts_with("The events in x-events.txt are left out"))
        << host.messages[1].text;
    image.data.resize(end - 400);
    files.Put("/x-events.txt", BytesOf("1, 0.1749\n1, 0.175\n"));
    const auto cut = Open("/x.wav", image.data);
    ASSERT_TRUE(cut);
    EXPECT_EQ(Events(*cut, 0), (std::vector<Found>{{1399, 1400, ""}}));
    EXPECT_TRUE(host.messages[0].text.starts_with("This audio file is cut off")) << host.messages[0].text;
}

// Scans 2.5 ms apart; the storage restarts at scan 400, 6 s after scan 0 by the clock: 5 s are missing.
TEST_F(ForeignDocTest, WinDaqPausesAreGapsAndMarksAreEvents) {
    for (const bool isFine : {false, true}) {
        FileImage image;
        image.data = WdqSample(isFine).bytes;
        const int words = isFine ? 3 : 1;
        image.I32(5956, 0).I32(5960, 7).I32(5964, 400 * words).I32(5968, 13);
        for (size_t i = 0; i < 2400; ++i) image.I16(1156 + 2 * i, 4 * static_cast<int>(i % 100));
        image.I16(1156 + 2 * (3 * 10 + 1), 3).I16(1156 + 2 * (3 * 500 + 1), 2);
        const auto doc = Open("/x.wdq", image.data);
        ASSERT_TRUE(doc) << host.LastMessage();
        EXPECT_EQ(doc->GetLength(), 2800);
        EXPECT_EQ(doc->CountValid(0, 0, 2800), 800);
        EXPECT_EQ(doc->CountValid(0, 400, 2400), 0);
        EXPECT_EQ(Events(*doc, 0), (std::vector<Found>{{0, 1, ""}, {2400, 2401, ""}}));
        const std::vector<Found> marks{{10, 11, "rising"}, {2500, 2501, "falling"}};
        EXPECT_EQ(Events(*doc, 1), isFine ? std::vector<Found>() : marks)
            << "16 bits leave no room for marks";
    }
}

}  // namespace
}  // namespace kymora::test
