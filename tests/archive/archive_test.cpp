#include "archive/archive.h"

#include <gtest/gtest.h>

#include "archive/text_encoding.h"
#include "host/memory_file_system.h"
#include "support/bytes.h"

namespace kymora {
namespace {

using test::Bytes;

std::string ReadOneString(Bytes bytes) {
    MemoryFile file;
    file.Bytes() = std::move(bytes.data);
    CArchive archive(file, CArchive::Mode::load);
    return archive.ReadString();
}

TEST(Archive, ReadsStringsOfEveryWidthInBothForms) {
    for (const uint32_t n : {0u, 3u, 254u, 255u, 0xFFFDu, 0x10001u})
        for (const bool isWide : {false, true}) {
            Bytes text;
            if (isWide) text.U8(0xFF).U16(0xFFFE);
            n < 255 ? text.U8(n) : n < 0xFFFE ? text.U8(0xFF).U16(n) : text.U8(0xFF).U16(0xFFFF).U32(n);
            for (uint32_t i = 0; i < n; ++i) isWide ? text.U16('x') : text.U8('x');
            EXPECT_EQ(ReadOneString(text), std::string(n, 'x')) << n << isWide;
            MemoryFile file;
            CArchive archive(file, CArchive::Mode::store);
            archive.WriteString(std::string(n, 'x'));
            archive.Close();
            EXPECT_EQ(file.Bytes() == text.data, isWide) << "the shortest wide form is written: " << n;
        }
}

TEST(Archive, CountsHaveTwoWidths) {
    MemoryFile file;
    CArchive out(file, CArchive::Mode::store);
    for (const uint32_t n : {0u, 0xFFFEu, 0xFFFFu, 70000u}) out.WriteCount(n);
    out.Close();
    Bytes expected;
    expected.U16(0).U16(0xFFFE).U16(0xFFFF).U32(0xFFFF).U16(0xFFFF).U32(70000);
    EXPECT_EQ(file.Bytes(), expected.data);
    CArchive in(file, CArchive::Mode::load);
    for (const uint32_t n : {0u, 0xFFFEu, 0xFFFFu, 70000u}) EXPECT_EQ(in.ReadCount(), n);
}

// Text that is not valid UTF-16 must come back unit for unit; text that is must be proper UTF-8 inside.
TEST(Archive, TextSurvivesUnchangedWhateverItsUnits) {
    const std::u16string odd = {0xD800, u'a', 0xDC00, 0xD83D, 0xDE00, 0, 0xFFFF, 0xDBFF};
    EXPECT_EQ(TextToWide(WideToText(odd)), odd);
    EXPECT_EQ(WideToText(u"\u00E9\u20AC\U0001F600"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(ToDisplayText(WideToText(odd)).find("\xED\xA0"), std::string::npos);
    // Every unit for itself.
    std::u16string all;
    for (uint32_t u = 0; u <= 0xFFFF; ++u) all += {static_cast<char16_t>(u), u' '};
    EXPECT_EQ(TextToWide(WideToText(all)), all);
    EXPECT_EQ(TextToWide("\xC0\x80\xFF"), std::u16string(3, 0xFFFD));
}

TEST(Archive, NarrowTextIsWindows1252) {
    Bytes bytes;
    bytes.U8(4).U8(0x80).U8(0xE9).U8(0x99).U8(0x81);
    EXPECT_EQ(ReadOneString(bytes), "\xE2\x82\xAC\xC3\xA9\xE2\x84\xA2\xC2\x81");
}

// A length or count beyond the file must end the read before anything is allocated.
TEST(Archive, RefusesWhatTheFileCannotHold) {
    EXPECT_THROW(ReadOneString(Bytes().U8(0xFF).U16(0xFFFF).U32(0xFFFFFFFF)), ArchiveError);
    EXPECT_THROW(ReadOneString(Bytes().U8(0xFF).U16(0xFFFE).U8(0xFF).U16(0xFFFF).U32(0x80000000)),
                 ArchiveError);
    EXPECT_THROW(ReadOneString(Bytes().U8(9).U8('a')), ArchiveError);
    MemoryFile file;
    file.Bytes() = Bytes().I32(-1).I32(3).I32(0).U16(0xFFFF).U32(5).data;
    CArchive archive(file, CArchive::Mode::load);
    EXPECT_THROW(archive.ReadItemCount(1, "things"), ArchiveError);
    EXPECT_THROW(archive.ReadItemCount(8, "things"), ArchiveError);
    archive.Seek(12);
    EXPECT_THROW(archive.ReadRunList(), ArchiveError);
    archive.Seek(17);
    EXPECT_THROW(archive.Read<int32_t>(), ArchiveError);
}

TEST(Archive, BuffersAndRawBlocksKeepTheirOrder) {
    MemoryFile file;
    CArchive out(file, CArchive::Mode::store, 5, 16);
    std::vector<uint32_t> numbers(1000);
    for (uint32_t i = 0; i < 1000; ++i) numbers[i] = i * 7;
    for (uint32_t i = 0; i < 10; ++i) out.Write<uint8_t>(static_cast<uint8_t>(i));
    out.WriteRunList(numbers);
    out.Write<double>(0.1);
    const uint64_t end = out.Position();
    out.Close();
    EXPECT_EQ(file.Length(), end);
    for (const size_t buffer : {16, 4096}) {
        CArchive in(file, CArchive::Mode::load, 5, buffer);
        for (uint32_t i = 0; i < 10; ++i) EXPECT_EQ(in.Read<uint8_t>(), i);
        EXPECT_EQ(in.ReadRunList(), numbers);
        EXPECT_EQ(in.Read<double>(), 0.1);
        EXPECT_EQ(in.Position(), end);
        EXPECT_EQ(in.Remaining(), 0u);
    }
}

// What was not closed must not reach the file by accident.
TEST(Archive, AnAbandonedArchiveWritesNothingMore) {
    MemoryFile file;
    { CArchive(file, CArchive::Mode::store).Write<int32_t>(1); }
    EXPECT_EQ(file.Length(), 0u);
}

}  // namespace
}  // namespace kymora
