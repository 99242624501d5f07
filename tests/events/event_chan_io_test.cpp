// The stored form of an event channel, against records that the tests put together byte by byte.

#include <gtest/gtest.h>

#include <cmath>

#include "events/event_chan.h"
#include "host/memory_file_system.h"
#include "support/bytes.h"
#include "support/event_owner.h"

namespace kymora {
namespace {

using test::Bytes;
using test::EventOwner;

// Loads and makes sure that the record is read to its end and no further.
EventOrderFault LoadRecord(CEventChan& channel, int version, std::vector<std::byte> bytes,
                           bool follow = true) {
    MemoryFile file;
    const size_t length = bytes.size();
    if (follow) bytes.resize(length + 64, std::byte{0x55});
    file.Bytes() = std::move(bytes);
    CArchive archive(file, CArchive::Mode::load);
    const EventOrderFault fault = channel.Load(archive, version);
    EXPECT_EQ(archive.Position(), length) << "version " << version;
    return fault;
}

std::vector<std::byte> StoreRecord(const CEventChan& channel, int version) {
    MemoryFile file;
    CArchive archive(file, CArchive::Mode::store);
    channel.Store(archive, version);
    archive.Close();
    return file.Bytes();
}

// A record that is read holds values that all differ: a field that is left out, added or exchanged when it is
// written again comes back as another record.
void ExpectWritesWhatItRead(const CEventChan& channel) {
    const std::vector<std::byte> bytes = StoreRecord(channel, currentFileVersion);
    CEventChan back;
    LoadRecord(back, currentFileVersion, bytes);
    EXPECT_TRUE(back.HasSameSettings(channel));
    EXPECT_EQ(back.Events(), channel.Events());
    EXPECT_EQ(back.EventExtra(), channel.EventExtra());
    EXPECT_EQ(StoreRecord(back, currentFileVersion), bytes);
}

// What stands before the event count in any version.
Bytes HeadOf(int v, int32_t method) {
    Bytes r;
    if (v > 33) r.U8(1);   // locked
    if (v > 31) r.I32(7);  // draw mode
    r.I32(3).Narrow("label");
    if (v > 19) r.Narrow("comment");
    if (v > 20) r.I32(0);  // hidden
    r.I32(0x112233).I32(0x445566).I32(method).I32(11);
    if (v >= 14) r.F64(1.25);
    if (v > 40) r.I32(4);  // option B
    return r;
}

// A threshold channel with one event, laid out for any version.
Bytes ThresholdRecord(int v) {
    Bytes r = HeadOf(v, methodThreshold).I32(1).I32(9);  // one event, its tag
    if (v >= 9)
        r.I32(60).I32(40);  // off, on
    else
        r.F32(30.0f).F32(20.2f);  // ms at 0.5 ms a sample: 60 and 40.4
    r.F32(77.0f).F32(78.0f).F32(2.5f).Narrow("\xB5V");
    if (v >= 16) r.I32(0x00AABBCC);
    if (v >= 15) r.I32(1).F32(1.0f).F32(2.0f).F32(3.0f);
    r.I32(0);
    r.I32(2).I32(1).F32(0.25f).F32(0.75f);
    if (v > 32) r.I32(5);
    r.F32(1.0f).F32(2.0f).F32(3.0f);
    if (v > 11) r.I32(6);
    return r.F32(4.0f).F32(5.0f).I32(8);
}

TEST(EventChanIo, ReadsEveryAgeOfRecord) {
    EventOwner owner(0.5);
    for (const int v : {7, 8, 9, 11, 12, 13, 14, 15, 16, 18, 20, 21, 31, 32, 33, 34, 40, 41, 46, 47, 48}) {
        SCOPED_TRACE(v);
        CEventChan channel(&owner);
        channel.channelDrawMode = 5;  // as the document set it for files that hold none
        ASSERT_EQ(LoadRecord(channel, v, ThresholdRecord(v).data), EventOrderFault::none);
        EXPECT_EQ(channel.channelLocked, v > 33);
        EXPECT_EQ(channel.channelDrawMode, v > 31 ? 7 : 5);
        EXPECT_EQ(channel.parentTrace, 3);
        EXPECT_EQ(channel.channelLabel, "label");
        EXPECT_EQ(channel.channelComment, v > 19 ? "comment" : "");
        EXPECT_EQ(channel.channelVisible, v > 20 ? 0 : 1);
        EXPECT_EQ(channel.channelColour, 0x112233u);
        EXPECT_EQ(channel.channelColourAlt, 0x445566u);
        EXPECT_EQ(channel.channelFlag, 11);
        EXPECT_EQ(channel.GetDisplayPosition(), v >= 14 ? 1.25 : 0.1);  // as stored, also outside the view
        EXPECT_EQ(channel.channelOptionB, v > 40 ? 4 : 1);
        ASSERT_EQ(channel.GetNumEvents(), 1);
        EXPECT_EQ(channel.Events()[0], (CEventKM{40, 60, 2.5f, 9, v >= 16 ? 0x00AABBCCu : 0u, "\xC2\xB5V"}));
        EXPECT_EQ(channel.EventExtra().size(), v >= 15 ? 1u : 0u);
        const DetectionParameters& p = channel.detection;
        EXPECT_EQ(p.templateTrace, 2);
        EXPECT_EQ(p.analysisRegion, 1);
        EXPECT_EQ(p.analysisStart, 0.25f);
        EXPECT_EQ(p.analysisEnd, 0.75f);
        EXPECT_EQ(p.analysisRepeat, v > 32 ? 5 : 0);
        EXPECT_EQ(p.thresholdLevel, 1.0f);
        EXPECT_EQ(p.thresholdHysteresis, 2.0f);
        EXPECT_EQ(p.thresholdMinimum, 3.0f);
        EXPECT_EQ(p.thresholdMode, v > 11 ? 6 : 0);
        EXPECT_EQ(p.thresholdOnsetA, 4.0f);
        EXPECT_EQ(p.thresholdOnsetB, 5.0f);
        EXPECT_EQ(p.thresholdCount, 8);
        ExpectWritesWhatItRead(channel);
    }
}

TEST(EventChanIo, RoundsTimesHalfAwayFromZero) {
    // 2.5 and -2.5 samples; and 0.1 as a float over 0.04, a little above 2.5 in double precision.
    EventOwner owner(0.04);
    Bytes r;
    r.I32(-1).Narrow("").I32(0).I32(0).I32(0).I32(0).I32(3);
    for (const auto& [off, on] : {std::pair{0.1f, -0.1f}, {3e30f, 0.02f}, {NAN, 0.06f}})
        r.I32(0).F32(off).F32(on).F32(0).F32(0).F32(0).Narrow("");
    r.I32(0);
    CEventChan channel(&owner);
    LoadRecord(channel, 8, r.data);
    ASSERT_EQ(channel.GetNumEvents(), 3);
    EXPECT_EQ(channel.Events()[0].onPosition, -3);
    EXPECT_EQ(channel.Events()[0].offPosition, 3);
    EXPECT_EQ(channel.Events()[1].onPosition, 0);  // 0.02f lies below 0.02: 0.49999999
    EXPECT_EQ(channel.Events()[1].offPosition, INT32_MAX);
    EXPECT_EQ(channel.Events()[2].offPosition, 0);
}

TEST(EventChanIo, ReadsTheTemplateOfEachAge) {
    for (const int v : {13, 32, 36, 37, 46, 47, 48}) {
        SCOPED_TRACE(v);
        Bytes r = HeadOf(v, methodAdaptiveTemplate).I32(0);
        if (v >= 15) r.I32(1);  // the table of no events
        r.I32(0);
        r.I32(2).F32(-1.5f).F32(2.5f);
        if (v >= 37) r.I32(10).I32(11).I32(12).I32(13);
        r.I32(20).I32(21).I32(22).I32(23).F32(24.0f).F32(25.0f);
        if (v > 32) r.I32(26);
        r.F32(27.0f).I32(28);
        if (v > 46) r.F32(29.0f);

        CEventChan channel;
        LoadRecord(channel, v, r.data);
        EXPECT_EQ(channel.templateData, (std::vector<float>{-1.5f, 2.5f}));
        const DetectionParameters& p = channel.detection;
        EXPECT_EQ(p.templateStart, v >= 37 ? 10 : 1);
        EXPECT_EQ(p.templateEnd, v >= 37 ? 11 : 0);
        EXPECT_EQ(p.templateFirst, v >= 37 ? 12 : 2);
        EXPECT_EQ(p.templateLast, v >= 37 ? 13 : 0);
        EXPECT_EQ(p.templateTrace, 20);
        EXPECT_EQ(p.templateAlign, 21);
        EXPECT_EQ(p.templateFit, 22);
        EXPECT_EQ(p.analysisRegion, 23);
        EXPECT_EQ(p.analysisStart, 24.0f);
        EXPECT_EQ(p.analysisEnd, 25.0f);
        EXPECT_EQ(p.analysisRepeat, v > 32 ? 26 : 0);
        EXPECT_EQ(p.templateThreshold, 27.0f);
        EXPECT_EQ(p.templateOption, 28);
        EXPECT_EQ(p.templateExtra, v > 46 ? 29.0f : 0.0f);
        ExpectWritesWhatItRead(channel);
    }
}

TEST(EventChanIo, ReadsTheSourceOfABurstFromALetterOrANumber) {
    const auto source = [](int v, std::string_view letter) {
        Bytes r = HeadOf(v, methodPoissonSurprise).I32(0).I32(0).I32(0);
        r.I32(1).F32(2.0f).F32(3.0f);
        if (v < 19)
            r.Narrow(letter);
        else
            r.I32(500);
        r.F64(4.5);
        CEventChan channel;
        LoadRecord(channel, v, r.data);
        EXPECT_EQ(channel.detection.burstSurprise, 4.5);
        ExpectWritesWhatItRead(channel);
        EXPECT_EQ(channel.detection.analysisEnd, 3.0f);
        return channel.detection.burstSourceChannel;
    };
    EXPECT_EQ(source(18, "a"), 0);
    EXPECT_EQ(source(18, "d (4)"), 3);
    EXPECT_EQ(source(18, "z"), 25);
    for (const char* none : {"", "A", "{", "\xE4", "1"}) EXPECT_EQ(source(18, none), 0) << none;
    EXPECT_EQ(source(19, ""), 500);
}

TEST(EventChanIo, ReportsFaultsOfOrderAndLeavesTheEvents) {
    const auto load = [](const std::vector<int32_t>& starts) {
        Bytes r = HeadOf(48, methodManual);
        r.I32(static_cast<int32_t>(starts.size()));
        for (const int32_t on : starts) r.I32(0).I32(on + 1).I32(on).F32(0).F32(0).F32(0).Narrow("").I32(0);
        r.I32(1);
        for (const int32_t on : starts) r.F32(static_cast<float>(on)).F32(0).F32(0);
        r.I32(0);
        EventOwner owner;
        CEventChan channel(&owner);
        const EventOrderFault fault = LoadRecord(channel, 48, r.data);
        EXPECT_EQ(channel.EventExtra().size(), starts.size());
        for (size_t i = 0; i < starts.size(); ++i) {
            EXPECT_EQ(channel.Events()[i].onPosition, starts[i]);
            EXPECT_EQ(channel.EventExtra()[i][0], static_cast<float>(starts[i]));
        }
        EXPECT_TRUE(owner.host.WasSilent());
        return fault;
    };
    EXPECT_EQ(load({}), EventOrderFault::none);
    EXPECT_EQ(load({1, 5, 5, 9}), EventOrderFault::none);
    EXPECT_EQ(load({-7, 1}), EventOrderFault::none);  // the check begins at the second event
    EXPECT_EQ(load({-7, -3}), EventOrderFault::negativePosition);
    EXPECT_EQ(load({5, -1}), EventOrderFault::negativePosition);
    EXPECT_EQ(load({5, 9, 7, -1}), EventOrderFault::outOfOrder);  // the first fault counts
}

TEST(EventChanIo, RefusesWhatTheFileCannotHoldAndKeepsTheChannel) {
    const Bytes whole = ThresholdRecord(48);
    const auto untouched = [](int version, std::vector<std::byte> bytes) {
        EventOwner owner;
        CEventChan channel(&owner);
        channel.AddEvent(1, 2, 3.0f);
        channel.channelLabel = "before";
        channel.channelLocked = true;
        EXPECT_THROW(LoadRecord(channel, version, std::move(bytes), false), ArchiveError);
        EXPECT_EQ(channel.GetNumEvents(), 1);
        EXPECT_EQ(channel.channelLabel, "before");
        EXPECT_TRUE(channel.channelLocked);
    };
    for (size_t length = 0; length < whole.data.size(); ++length)
        untouched(48, {whole.data.begin(), whole.data.begin() + static_cast<std::ptrdiff_t>(length)});

    for (const int32_t count : {-1, INT32_MIN, 2, INT32_MAX}) {
        untouched(48, HeadOf(48, 0).I32(count).Raw(std::array<char, 57>{}).data);  // two events need 58
        // A template of that many points in 7 bytes.
        untouched(48, HeadOf(48, 1).I32(0).I32(0).I32(0).I32(count).Raw(std::array<char, 7>{}).data);
    }
    // A table of coordinates that is cut off.
    untouched(48, HeadOf(48, 0).I32(1).Raw(std::array<char, 29>{}).I32(1).Raw(std::array<char, 11>{}).data);
}

TEST(EventChanIo, ReadsBackWhatItWrites) {
    for (const int32_t method : {0, 1, 2, 3, 4, 5, 6, 19, 20, -1, 77})
        for (const int version : {legacyFileVersion, currentFileVersion}) {
            SCOPED_TRACE(std::to_string(method) + " in " + std::to_string(version));
            CEventChan channel;
            channel.detectionMethod = method;
            // High then low swapped, lone low, a true pair, and text.
            const EventLabel label = "\xED\xB0\x80\xED\xA0\x80 \xF0\x9F\x98\x80 \xC3\xA9";
            for (const int32_t on : {90, 10, 50}) channel.AppendLoaded({on, on + 5, 0, 0, 0, label});
            ASSERT_TRUE(channel.SetEventExtra({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}));
            if (method >= 1 && method <= 3) channel.templateData = {1, 2};
            channel.channelComment = std::string(70000, 'c');
            channel.channelLocked = true;

            CEventChan back;
            back.AddEvent(1, 2);
            back.templateData = {9, 9, 9};
            back.detection.burstSurprise = 9.0;
            const std::vector<std::byte> bytes = StoreRecord(channel, version);
            EXPECT_EQ(LoadRecord(back, version, bytes), EventOrderFault::outOfOrder);
            EXPECT_EQ(back.Events(), channel.Events());
            EXPECT_EQ(back.EventExtra(), channel.EventExtra());
            // The old version has no room for some of them, but none is left from before.
            EXPECT_TRUE(version == legacyFileVersion || back.HasSameSettings(channel));
            EXPECT_EQ(back.templateData, channel.templateData);
            EXPECT_EQ(back.detection.burstSurprise, 0.0);
            EXPECT_TRUE(back.channelLocked);
            EXPECT_FALSE(back.IsInOrder());
            EXPECT_EQ(StoreRecord(back, version), bytes);
        }
}

}  // namespace
}  // namespace kymora
