#include "operations/config_file.h"

#include <gtest/gtest.h>

#include <cmath>

#include "eventanalysis/event_list.h"
#include "host/memory_file_system.h"
#include "support/bytes.h"
#include "support/faulty_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"
#include "support/test_operation.h"

namespace kymora::test {
namespace {

constexpr const char* path = "/dialog.kymr-cfg";

// The record of the test operation, put together by hand. Every number can be made wrong.
struct Record {
    std::u16string className = u"CTestOperation";
    uint32_t baseVersion = 1, pane = 7;
    uint32_t eventVersion = 3;
    int channel1 = 1, channel2 = 2, channel3 = 3, destination = 4;
    std::u16string description = u"spikes \u00b5", label = u"lab";
    unsigned append = 1;
    std::u16string listText = u"d b";  // of version 2
    std::vector<int> list = {1, 3};    // of version 3
    uint32_t regionVersion = 1;
    int trace = 2, mode = 2;
    double start = 20.0, end = 1500.5;
    uint32_t ownVersion = 1;
    double level = -2.5;
    float factor = 0.3f;
    int kind = 2;
    unsigned linked = 0;

    std::vector<std::byte> Build() const {
        Bytes b;
        b.Wide(className).U32(baseVersion).U32(pane);
        b.U32(eventVersion).I32(channel1).I32(channel2).I32(channel3).I32(destination);
        b.Wide(description).Wide(label).U8(append);
        if (eventVersion == 2) b.Wide(listText);
        if (eventVersion > 2) {
            b.I32(static_cast<int>(list.size()));
            for (const int channel : list) b.I32(channel);
        }
        b.U32(regionVersion).I32(trace).I32(mode).F64(start).F64(end);
        b.U32(ownVersion).F64(level).F32(factor).I32(kind).U8(linked);
        return b.data;
    }
};

class ConfigFileTest : public ::testing::Test {
  protected:
    bool Load(const std::vector<std::byte>& bytes) {
        host.Forget();
        files.Put(path, bytes);
        return LoadConfig(session, operation, path);
    }
    // The load is refused with these words and leaves everything as it was.
    void ExpectRefused(const std::vector<std::byte>& bytes, const std::string& words) {
        const auto before = operation.Settings();
        EXPECT_FALSE(Load(bytes)) << words;
        ASSERT_EQ(host.messages.size(), 1u) << words;
        EXPECT_EQ(host.LastMessage(), words);
        EXPECT_EQ(operation.Settings(), before) << words;
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    TestOperation operation;
};

constexpr const char* damaged = "This configuration of CTestOperation is damaged. Nothing was loaded.";
constexpr const char* later = "This configuration of CTestOperation was written by a later version of Kymora "
                              "and cannot be read by this one.";

TEST_F(ConfigFileTest, EveryFieldIsReadAndWrittenInItsPlace) {
    const Record record;
    ASSERT_TRUE(Load(record.Build())) << host.LastMessage();
    EXPECT_EQ(operation.m_nPaneState, 7u);
    EXPECT_EQ((std::vector{operation.m_nChannel1, operation.m_nChannel2, operation.m_nChannel3,
                           operation.m_nDestination, operation.m_nTrace, operation.m_nRegionMode,
                           operation.m_nKind}),
              (std::vector{1, 2, 3, 4, 2, 2, 2}));
    EXPECT_EQ((std::vector{operation.m_dRegionStart, operation.m_dRegionEnd, operation.m_dLevel}),
              (std::vector{20.0, 1500.5, -2.5}));
    EXPECT_EQ(operation.m_fFactor, 0.3f);
    EXPECT_EQ(operation.m_strDescription, "spikes \xC2\xB5");
    EXPECT_EQ(operation.m_strLabel, "lab");
    EXPECT_EQ(operation.m_channels, (std::vector<int>{1, 3}));
    EXPECT_TRUE(operation.m_bAppendParams);
    EXPECT_FALSE(operation.m_bLinked);
    EXPECT_TRUE(host.WasSilent());

    ASSERT_TRUE(SaveConfig(session, operation, "/again.kymr-cfg"));
    EXPECT_EQ(files.Bytes("/again.kymr-cfg"), record.Build());
    EXPECT_EQ(files.Count(), 2u) << "nothing else is left";
}

TEST_F(ConfigFileTest, EarlierVersionsOfTheFrame) {
    Record record;
    record.eventVersion = 1;
    ASSERT_TRUE(Load(record.Build())) << host.LastMessage();
    EXPECT_TRUE(operation.m_channels.empty()) << "version 1 has no list";
    EXPECT_EQ(operation.m_nTrace, 2) << "what follows is in its place";
    record.eventVersion = 2;
    ASSERT_TRUE(Load(record.Build())) << host.LastMessage();
    EXPECT_EQ(operation.m_channels, (std::vector<int>{1, 3}));
    EXPECT_EQ(operation.m_dLevel, -2.5);
    record.listText.clear();
    ASSERT_TRUE(Load(record.Build()));
    EXPECT_TRUE(operation.m_channels.empty());
    record.listText = u"b;d";
    ExpectRefused(
        record.Build(),
        "The list should only contain letters or numbers, spaces or hyphens; e.g. \"a-c 5 30-40\".");
}

TEST_F(ConfigFileTest, OtherClassesAndOtherFiles) {
    Record record;
    record.className = u"CEventThreshold";
    ExpectRefused(
        record.Build(),
        "Unrecognized configuration file format. Expected CTestOperation but read CEventThreshold.");
    EXPECT_TRUE(operation.m_bConfigError);
    record.className.clear();
    // Other files: a text, one that ends in its first text, a first text that is no name.
    std::vector<std::byte> text(400, std::byte{'h'});
    text[40] = std::byte{'\n'};
    Record words;
    words.className = u"What I measured";
    const std::vector<std::byte> cut = {std::byte{0xFF}, std::byte{0xFE}, std::byte{0xFF}, std::byte{9}};
    for (const auto& bytes : {record.Build(), std::vector<std::byte>(), text, cut, words.Build()})
        ExpectRefused(
            bytes, "Unrecognized configuration file format. Expected CTestOperation but read no identifier.");
    EXPECT_FALSE(LoadConfig(session, operation, "/missing.kymr-cfg"));
    EXPECT_NE(host.LastMessage().find("/missing.kymr-cfg"), std::string::npos);
    EXPECT_TRUE(Load(Record().Build()));
    EXPECT_FALSE(operation.m_bConfigError) << "the flag is that of the last load";
    EXPECT_EQ(ConfigClassName(session, path), "CTestOperation");
    for (const auto& bytes : {cut, text}) {
        files.Put("/none.kymr-cfg", bytes);
        EXPECT_EQ(ConfigClassName(session, "/none.kymr-cfg"), "");
    }
}

TEST_F(ConfigFileTest, LaterVersions) {
    for (uint32_t Record::*version :
         {&Record::baseVersion, &Record::eventVersion, &Record::regionVersion, &Record::ownVersion}) {
        Record record;
        ++(record.*version);
        ExpectRefused(record.Build(), later);
        EXPECT_FALSE(operation.m_bConfigError) << "the class is right";
    }
}

TEST_F(ConfigFileTest, CutOffAnywhereOrTooLong) {
    const std::vector<std::byte> whole = Record().Build();
    const auto before = operation.Settings();
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(Load({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
        ASSERT_EQ(host.messages.size(), 1u) << length;
        ASSERT_EQ(operation.Settings(), before) << length;
    }
    std::vector<std::byte> longer = whole;
    longer.push_back(std::byte{0});
    ExpectRefused(longer, damaged);
    EXPECT_TRUE(Load(whole));
}

TEST_F(ConfigFileTest, ValuesThatCannotBe) {
    const auto expect = [&](auto Record::*field, auto value, const std::string& words) {
        Record record;
        record.*field = value;
        ExpectRefused(record.Build(), std::string(damaged) + "\n" + words);
    };
    const std::string channel = "The selected event channel does not exist";
    const std::string trace = "The selected data trace does not exist";
    expect(&Record::channel1, 999, channel);
    expect(&Record::channel1, -1, channel);
    expect(&Record::destination, 1 << 30, channel);
    expect(&Record::trace, 128, trace);
    expect(&Record::trace, -1, trace);
    expect(&Record::mode, 3, "\"Region\" takes one of 0 (whole file), 1 (visible screen), 2 (user set).");
    expect(&Record::start, -0.5, "\"Start\" must be at least 0.");
    expect(&Record::end, std::nan(""), "\"End\" needs a number.");
    // What is switched off is looked at too.
    Record off;
    off.mode = 0;
    off.start = -0.5;
    ExpectRefused(off.Build(), std::string(damaged) + "\n\"Start\" must be at least 0.");
    expect(&Record::level, 10.5, "\"Level\" must be a number from -10 to 10.");
    expect(&Record::factor, -1.0f, "\"Factor\" must be a number from 0 to 100.");
    expect(&Record::kind, -1, "\"Kind\" takes one of 0 (first), 1 (second kind), 2 (third).");
}

TEST_F(ConfigFileTest, ListsOfChannels) {
    Record record;
    record.list.assign(5, 1);
    EXPECT_TRUE(Load(record.Build())) << host.LastMessage();
    EXPECT_EQ(operation.m_channels, std::vector<int>{1}) << "each channel once";
    record.list = {5, 0, 5};
    EXPECT_TRUE(Load(record.Build()));
    EXPECT_EQ(operation.m_channels, (std::vector<int>{0, 5}));
    CEventList list, again;
    list.m_channels = list.m_traces = {2, 0, 2};
    again.TakeSettings(list.Settings());
    EXPECT_EQ(again.m_channels, (std::vector<int>{0, 2})) << "an analysis has an order of its own";
    EXPECT_EQ(again.m_traces, (std::vector<int>{0, 2}));
    // A count above what the file can hold is refused before it is given memory.
    record.list.clear();
    std::vector<std::byte> bytes = record.Build();
    const size_t behindList = 28 + 21;  // the region's fields and the operation's own
    const int32_t count = 0x7FFFFFFF;
    std::memcpy(bytes.data() + bytes.size() - behindList - sizeof count, &count, sizeof count);
    const auto before = operation.Settings();
    EXPECT_FALSE(Load(bytes));
    EXPECT_NE(host.LastMessage().find("channels"), std::string::npos) << host.LastMessage();
    EXPECT_EQ(operation.Settings(), before);
}

// The least end of a region is 100 samples of the recording at hand; a file from another one is no damage.
TEST_F(ConfigFileTest, ARecordingWithOtherLimits) {
    const auto doc = MemoryDoc::Make(session, {std::vector<float>(5000), {}, {}}, 1.0);
    doc->validRuns[1] = doc->validRuns[2] = doc->validRuns[0];
    operation.CheckChangeDoc(doc.get());
    Record record;
    record.end = 50.0;
    record.trace = 1;
    ASSERT_TRUE(Load(record.Build())) << host.LastMessage();
    EXPECT_EQ(operation.Document(), doc.get());
    EXPECT_EQ(operation.m_dRegionEnd, 100.0) << "raised as when a recording is taken up";
    record.trace = 90;
    ASSERT_TRUE(Load(record.Build())) << host.LastMessage();
    EXPECT_EQ(operation.m_nTrace, 2) << "bounded by the last trace";
    record.level = 99;
    ExpectRefused(record.Build(), std::string(damaged) + "\n\"Level\" must be a number from -10 to 10.");
    EXPECT_EQ(operation.Document(), doc.get());
}

TEST_F(ConfigFileTest, TheDialogsForSavingAndLoading) {
    host.saveFile = path;
    operation.m_dLevel = 4.0;
    ASSERT_TRUE(AskSaveConfig(session, operation));
    EXPECT_EQ(host.fileRequests[0].filter, "config (*.kymr-cfg)|*.kymr-cfg||");
    EXPECT_EQ(host.fileRequests[0].suggestion, "CTestOperation.kymr-cfg");
    operation.m_dLevel = 0.0;
    EXPECT_FALSE(AskLoadConfig(session, operation)) << "cancelled";
    host.openFiles = {path};
    ASSERT_TRUE(AskLoadConfig(session, operation));
    EXPECT_EQ(operation.m_dLevel, 4.0);
}

TEST_F(ConfigFileTest, AFailedSaveKeepsTheOldFile) {
    const std::vector<std::byte> old = Record().Build();
    operation.m_strLabel = std::string(9000, 'x');
    int64_t changes = 1;
    for (int64_t at = 1; at <= changes; ++at) {
        MemoryFileSystem disk;
        disk.Put(path, old);
        FaultyFileSystem faulty(disk);
        Session other{host, faulty};
        faulty.dieAtChange = at;
        host.Forget();
        const bool saved = SaveConfig(other, operation, path);
        EXPECT_EQ(saved, !faulty.died) << at;
        EXPECT_EQ(host.messages.size(), saved ? 0u : 1u);
        EXPECT_EQ(disk.Bytes(path) == old, !saved) << at;
        changes = saved ? at : at + 1;
    }
    EXPECT_GT(changes, 2) << "the file was written in several steps";

    MemoryFileSystem disk;
    disk.Put(path, old);
    FaultyFileSystem full(disk);
    full.freeBytes = 5000;
    Session other{host, full};
    EXPECT_FALSE(SaveConfig(other, operation, path));
    EXPECT_EQ(disk.Bytes(path), old);
    EXPECT_EQ(disk.Count(), 1u) << "no half-written file is left";
}

}  // namespace
}  // namespace kymora::test
