// Files of one event channel and blocks of several, against bytes put together by hand.

#include "exchange/event_file.h"

#include "exchange/channel_block.h"
#include "support/bytes.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class EventFileTest : public SessionTest {
  protected:
    CEventChan Read(std::vector<std::byte> bytes) {
        files.Put("/x.kymr-evt", std::move(bytes));
        const auto file = files.Open("/x.kymr-evt", OpenMode::readOnly);
        return ReadEventFile(*file, *doc);
    }
    std::unique_ptr<MemoryDoc> doc = MemoryDoc::MakeEmpty(session, 1000, 0.5);
};

Bytes CurrentFile() {
    Bytes b;
    b.I16(48).U8(1).I32(3).I32(0).Wide(u"spikes").Wide(u"by hand").I32(0);
    b.U32(0x112233).U32(0x445566).I32(0).I32(7).F64(0.25).I32(4);
    b.I32(1).I32(9).I32(60).I32(40).F32(0).F32(0).F32(2.5f).Wide(u"\u00B5V").U32(0xAABBCC);
    return b.I32(0).I32(0);
}

TEST_F(EventFileTest, WritesAndReadsTheLayout) {
    CEventChan& chan = doc->eventChannels[5];
    chan.channelDrawMode = 3, chan.parentTrace = 0, chan.channelVisible = 0;
    chan.channelLabel = "spikes", chan.channelComment = "by hand";
    chan.channelColour = 0x112233, chan.channelColourAlt = 0x445566;
    chan.channelFlag = 7, chan.channelOptionB = 4;
    chan.SetDisplayPosition(0.25);
    CEventKM event{40, 60, 2.5f, 9, 0xAABBCC, "\u00B5V"};
    chan.AddEvent(event);
    chan.channelLocked = true;
    WriteEventFile(*doc, 5, "/out.kymr-evt");
    EXPECT_EQ(files.Bytes("/out.kymr-evt"), CurrentFile().data);

    const CEventChan read = Read(CurrentFile().data);
    EXPECT_TRUE(read.HasSameSettings(chan));
    EXPECT_EQ(read.Events(), std::vector{event});
}

TEST_F(EventFileTest, DamagedAndForeignFilesAreRefused) {
    const Bytes whole = CurrentFile();
    for (size_t length = 0; length < whole.Size(); ++length)
        EXPECT_THROW(Read({whole.data.begin(), whole.data.begin() + static_cast<long>(length)}), ArchiveError)
            << length;
    EXPECT_THROW(Read(Bytes(whole).U8(0).data), ArchiveError) << "something behind it";
    for (const int version : {0, -1, 49, 0x3231}) {
        Bytes other = whole;
        std::memcpy(other.data.data(), &version, 2);
        EXPECT_THROW(Read(other.data), ArchiveError) << version;
    }
    Bytes lie;  // two thousand million events
    lie.I16(48).U8(0).I32(0).I32(0).Wide(u"").Wide(u"").I32(1).I32(0).I32(0).I32(0).I32(0).F64(0.5).I32(1);
    EXPECT_THROW(Read(lie.I32(2000000000).I32(0).I32(0).data), ArchiveError);
}

void PutText(Bytes& b, std::u16string_view text) {
    b.I32(static_cast<int32_t>(text.size()));
    for (const char16_t unit : text) b.U16(unit);
}

// Channel "one" with two events, and one without any.
Bytes TwoChannels() {
    Bytes b;
    b.I32(2);
    PutText(b, u"one");
    PutText(b, u"\u00E9\U0001D11E");
    b.U32(0x112233).U32(0x445566).I32(2);
    b.I32(5).I32(9).F32(1.5f);
    PutText(b, u"");
    b.I32(3).U32(0xABCDEF);
    b.I32(7).I32(8).F32(-2.0f);
    PutText(b, u"x");
    b.I32(0).U32(0);
    PutText(b, u"");
    PutText(b, u"");
    return b.U32(1).U32(2).I32(0);
}

TEST_F(EventFileTest, BlockOfTheClipboard) {
    CEventChan& one = doc->eventChannels[2];
    one.channelLabel = "one", one.channelComment = "\u00E9\U0001D11E";
    one.channelColour = 0x112233, one.channelColourAlt = 0x445566;
    one.AddEvent({5, 9, 1.5f, 3, 0xABCDEF, ""});
    one.AddEvent({7, 8, -2.0f, 0, 0, "x"});
    doc->eventChannels[30].channelColour = 1, doc->eventChannels[30].channelColourAlt = 2;
    EXPECT_EQ(EncodeChannelBlock(*doc, std::vector{2, 30}), TwoChannels().data);

    auto block = TwoChannels().data;
    block.resize(block.size() + 11);  // memory that was rounded up
    const auto channels = DecodeChannelBlock(block);
    ASSERT_EQ(channels.size(), 2u);
    EXPECT_EQ(channels[0].channelComment, one.channelComment);
    EXPECT_EQ(channels[0].events, one.Events());
    EXPECT_EQ(channels[1].channelColourAlt, 2u);
    EXPECT_TRUE(BeginsAsChannelBlock(block));
}

TEST_F(EventFileTest, BlocksThatLie) {
    const auto whole = TwoChannels().data;
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_THROW(DecodeChannelBlock(std::span(whole).first(length)), ArchiveError) << length;
    for (const int32_t lie : {-1, 1000, 0x7FFFFFFF}) {
        for (const size_t at : {size_t{0}, size_t{4}, size_t{14}}) {  // channels, a label, a comment
            auto block = whole;
            std::memcpy(block.data() + at, &lie, sizeof lie);
            EXPECT_THROW(DecodeChannelBlock(block), ArchiveError) << lie << " at " << at;
        }
    }
    const auto begins = [](std::string_view text) {
        return BeginsAsChannelBlock(std::as_bytes(std::span(text)));
    };
    for (const std::string_view text :
         {std::string_view("1\t2\n"), std::string_view("\0001\0\t", 4), std::string_view("1\0\t\0", 4),
          std::string_view("\xFF\xFE"
                           "1\0",
                           4),
          std::string_view("1")})
        EXPECT_FALSE(begins(text));
}

}  // namespace
}  // namespace kymora::test
