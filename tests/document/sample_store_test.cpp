// The file buffer, its reads and the block reads, against plain loops over the same numbers.

#include <cmath>

#include "document/native_writer.h"
#include "support/session_fixture.h"

namespace kymora {
namespace {

using test::MemoryDoc;

struct SampleStore : test::SessionTest {
    static float Value(int trace, int64_t stored) {
        return static_cast<float>(stored % 1000 + 1) + 2000.0f * trace;
    }
    static std::vector<float> Stored(int trace, int64_t n) {
        std::vector<float> v;
        for (int64_t i = 0; i < n; ++i) v.push_back(Value(trace, i));
        return v;
    }
    // What a reader must see, from the definition of the run list.
    static void Expected(const std::vector<uint32_t>& runs, int trace, std::vector<float>& values,
                         std::vector<uint8_t>& valid) {
        int64_t stored = 0;
        for (size_t r = 0; r < runs.size(); ++r)
            for (uint32_t i = 0; i < runs[r]; ++i) {
                values.push_back(r % 2 == 0 ? Value(trace, stored++) : 0.0f);
                valid.push_back(r % 2 == 0 ? 1 : 0);
            }
    }
};

TEST_F(SampleStore, EveryReadSeesRunsGapsAndEnds) {
    const std::vector<std::vector<uint32_t>> lists = {
        {70000}, {0, 40000, 30000}, {10, 1, 32758, 5, 32768, 4458}, {1, 1, 1, 1, 69996}};
    for (const auto& runs : lists) {
        SCOPED_TRACE(testing::PrintToString(runs));
        std::vector<float> values;
        std::vector<uint8_t> valid;
        Expected(runs, 0, values, valid);
        ASSERT_EQ(values.size(), 70000u);
        const auto doc =
            MemoryDoc::MakeWithRuns(session, {Stored(0, 70000), Stored(1, 70000)}, {runs, {70000}});
        for (int64_t i = 0; i < 70000; ++i) {
            uint8_t flag = 9;
            ASSERT_EQ(doc->IsValidAt(0), valid[static_cast<size_t>(i)] != 0) << i;
            ASSERT_EQ(doc->ReadNextChecked(0, flag), values[static_cast<size_t>(i)]) << i;
            ASSERT_EQ(flag, valid[static_cast<size_t>(i)]) << i;
        }
        uint8_t flag = 9;
        EXPECT_TRUE(std::isnan(doc->ReadNextChecked(0, flag)));
        EXPECT_EQ(flag, 0);
        EXPECT_TRUE(std::isnan(doc->ReadNext(1)));
        EXPECT_EQ(doc->readPosition, 70002);

        // Blocks of odd sizes at odd places, both ends passed.
        std::vector<float> block(33001);
        std::vector<uint8_t> flags(33001);
        for (const int64_t from : {-5, 0, 9, 11, 32767, 39999, 69999, 70000, 99999}) {
            doc->ReadBlock(0, from, block, flags);
            for (int64_t i = 0; i < 33001; ++i) {
                const int64_t p = from + i;
                const auto at = static_cast<size_t>(i);
                if (p < 0 || p >= 70000) {
                    ASSERT_TRUE(std::isnan(block[at]));
                    ASSERT_EQ(flags[at], 0);
                } else {
                    ASSERT_EQ(block[at], values[static_cast<size_t>(p)]) << p;
                    ASSERT_EQ(flags[at], valid[static_cast<size_t>(p)]) << p;
                }
            }
        }
        // A window that starts anywhere holds zeros past the end.
        doc->SetReadPosition(69900);
        doc->FillFileBuf();
        EXPECT_EQ(doc->bufferStart, 69900);
        EXPECT_EQ(doc->FileBuffer(0)[99], values[69999]);
        EXPECT_EQ(std::count(doc->FileBuffer(0).begin() + 100, doc->FileBuffer(0).end(), 0.0f), 32668);
    }
}

TEST_F(SampleStore, BlocksOfATraceThatIsLongerThanTheFirst) {
    const auto doc = MemoryDoc::MakeWithRuns(session, {Stored(0, 10), Stored(1, 25)}, {{10}, {25}});
    std::vector<float> block(30);
    std::vector<uint8_t> flags(30);
    doc->ReadBlock(1, 0, block, flags);
    for (size_t i = 0; i < 30; ++i) {
        EXPECT_EQ(flags[i], i < 25);
        if (i < 25) {
            EXPECT_EQ(block[i], Value(1, static_cast<int64_t>(i)));
        }
    }
}

TEST_F(SampleStore, ReadNextAllAndReadAt) {
    const auto doc = MemoryDoc::MakeWithRuns(session, {Stored(0, 3), Stored(1, 4)}, {{2, 1, 1}, {4}});
    std::vector<float> v(2);
    std::vector<uint8_t> f(2);
    EXPECT_TRUE(doc->ReadNextAll(v, f));
    EXPECT_TRUE(doc->ReadNextAll(v, f));
    EXPECT_FALSE(doc->ReadNextAll(v, f));
    EXPECT_EQ(v, (std::vector<float>{0.0f, Value(1, 2)}));
    EXPECT_EQ(f, (std::vector<uint8_t>{0, 1}));
    EXPECT_TRUE(doc->ReadNextAll(v, f));
    EXPECT_FALSE(doc->ReadNextAll(v, f));
    EXPECT_TRUE(std::isnan(v[0]) && std::isnan(v[1]));
    uint8_t valid = 0;
    doc->SetReadPosition(1);
    EXPECT_EQ(doc->ReadAt(1, 3, valid), Value(1, 3));
    EXPECT_EQ(doc->readPosition, 1);
    EXPECT_FALSE(doc->AreAllValid(f) && f[0] == 0);

    const auto empty = MemoryDoc::MakeEmpty(session, 100);
    EXPECT_TRUE(empty->noData);
    EXPECT_EQ(empty->ReadNext(0), 0.0);
    EXPECT_EQ(empty->ReadAt(0, 5000, valid), 0.0) << "at all positions";
    EXPECT_EQ(valid, 0);
    EXPECT_FALSE(empty->AreAllValid(f));
}

TEST_F(SampleStore, GainsDivideWhatIsReadAndWhatIsWritten) {
    const auto doc = MemoryDoc::MakeWithRuns(session, {{2.0f, 4.0f, 0.1f}}, {{2, 2, 1}});
    doc->traces[0].traceGain = 3.0;
    doc->FillFileBuf();
    const float third = static_cast<float>(static_cast<double>(0.1f) / 3.0);
    EXPECT_EQ(doc->FileBuffer(0)[4], third);
    EXPECT_EQ(doc->FileBuffer(0)[2], 0.0f);
    MemoryFile file;
    CArchive archive(file, CArchive::Mode::store);
    doc->WriteTraceData(archive, 0);
    archive.Close();
    ASSERT_EQ(file.Length(), 12u);
    float written[3];
    file.ReadAt(0, std::as_writable_bytes(std::span(written)));
    EXPECT_EQ(written[2], third);
    EXPECT_EQ(written[0], static_cast<float>(2.0 / 3.0));
}

TEST_F(SampleStore, VectorReads) {
    const auto doc = MemoryDoc::MakeWithRuns(session, {Stored(0, 60000)}, {{5, 5, 59995}});
    EXPECT_EQ(doc->GetValidDataFromFileBuf(0, 0, 32768).size(), 32763u) << "gap samples are left out";
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(doc->GetValidDataFromFileBuf(0, 0, 32769).size(), 1u);
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_TRUE(std::isnan(doc->GetValidDataFromFileBuf(0, 60005, 1)[0]));
    doc->SetReadPosition(8);
    const auto part = doc->ReadVector(0, 4);
    EXPECT_EQ(part, (std::vector<float>{0.0f, 0.0f, Value(0, 5), Value(0, 6)}));
    EXPECT_EQ(doc->readPosition, 12);

    MemoryFile file;
    CArchive archive(file, CArchive::Mode::store);
    doc->SetReadPosition(0);
    doc->WriteValidOnly(archive, 0, 12);
    archive.Close();
    EXPECT_EQ(file.Length(), 7u * 4u);
}

TEST_F(SampleStore, RunListQueries) {
    const std::vector<uint32_t> runs = {0, 5, 10, 1, 3};
    const RunList list(runs);
    EXPECT_EQ(list.Length(), 19);
    EXPECT_EQ(list.StoredCount(), 13);
    EXPECT_EQ(list.NumValidBlocks(), 3);
    for (int64_t from = 0; from <= 19; ++from)
        for (int64_t to = from; to <= 25; ++to) {
            int64_t expected = 0;
            for (int64_t p = from; p < to && p < 19; ++p) expected += (p >= 5 && p < 15) || p >= 16;
            ASSERT_EQ(list.CountValid(from, to), expected) << from << " " << to;
        }
    const auto doc = MemoryDoc::MakeWithRuns(session, {Stored(0, 13)}, {runs});
    int64_t start = 0;
    int64_t end = 0;
    EXPECT_TRUE(doc->GetRunSpan(0, 2, start, end));
    EXPECT_EQ(start, 5);
    EXPECT_EQ(end, 15);
    EXPECT_FALSE(doc->GetRunSpan(0, 3, start, end));
    EXPECT_FALSE(doc->GetRunSpan(0, 5, start, end));
    EXPECT_EQ(doc->ShortestSection(), 3);
    // Many runs: the index must not lose its way between its checkpoints.
    std::vector<uint32_t> many;
    for (uint32_t i = 0; i < 1000; ++i) many.push_back(i * 7 % 4);
    const RunList big(many);
    int64_t position = 0;
    int64_t stored = 0;
    for (size_t r = 0; r < many.size(); ++r)
        for (uint32_t i = 0; i < many[r]; ++i, ++position) {
            const auto place = big.Find(position);
            ASSERT_EQ(place.run, static_cast<int>(r));
            ASSERT_EQ(place.valid, r % 2 == 0);
            ASSERT_EQ(place.storedBefore + (place.valid ? position - place.runStart : 0), stored);
            stored += r % 2 == 0;
        }
}

TEST_F(SampleStore, LengthsBeyondThePositionsAreToldAndHeld) {
    const auto doc = MemoryDoc::Generate(session, 1, 10, [](int, int64_t) { return 1.0f; });
    doc->SetLength(0x80000000LL);
    EXPECT_EQ(host.LastMessage(), tooLongText);
    EXPECT_EQ(doc->GetLength(), 0x7FFFFFFF);
}

}  // namespace
}  // namespace kymora
