// Recordings that are added to in place, with the power cut at every step.

#include <fmt/format.h>

#include <random>
#include <set>

#include "numerics/fnv.h"
#include "recording/recording_writer.h"
#include "support/power_cut_disk.h"
#include "support/recording_builder.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

constexpr const char* first = "/r.kymr-rec";
constexpr const char* second = "/s.kymr-rec";

// Everything that a reader finds, as one text.
std::string Found(FileSystem& files) {
    TestHost host;
    Session session(host, files);
    CAcqDoc doc(session);
    if (!doc.OnOpenDocument(first, OpenFor::reading)) return "does not open: " + host.LastMessage();
    std::string found = host.messages.empty() ? "" : host.LastMessage();
    for (int t = 0; t < doc.traceCount; ++t) {
        std::vector<float> values(static_cast<size_t>(doc.GetLength()));
        doc.ReadBlock(t, 0, values);
        found += fmt::format("{} samples {:x};", values.size(),
                             Fnv1a().Add(std::as_bytes(std::span(values))).Value());
    }
    for (int c = 0; c < 3; ++c)
        for (const CEventKM& event : doc.eventChannels[static_cast<size_t>(c)].Events())
            found += std::to_string(event.onPosition) + std::string(event.eventLabel.View()) + ";";
    for (const CMarker& marker : doc.markers)
        found += marker.m_strLabel + std::to_string(marker.m_dTime) + ";";
    return found;
}

void Append(FileSystem& files, MayAddInPlace mayAdd) {
    TestHost host;
    Session session(host, files);
    CAcqDoc one(session), two(session);
    ASSERT_TRUE(one.OnOpenDocument(first, OpenFor::reading));
    ASSERT_TRUE(two.OnOpenDocument(second, OpenFor::reading));
    WriteAppended(one, two, first, MayCancel::no, mayAdd);
}

// Fewer bytes than the old tail has, and more.
TEST(AppendInPlace, APowerCutLeavesTheOldRecordingOrTheNew) {
    for (const size_t scans : {10u, 60000u}) {
        SCOPED_TRACE(scans);
        RecordingRecipe recipe;
        MemoryFileSystem start;
        start.Put(first, BuildRecording(recipe).file.data);
        recipe.time += 90;
        while (recipe.codes.size() < 2 * scans)
            recipe.codes.push_back(static_cast<uint32_t>(recipe.codes.size() * 7919 % 65536));
        start.Put(second, BuildRecording(recipe).file.data);
        Append(start, MayAddInPlace::no);  // a file as the program writes it
        const std::string before = Found(start);
        MemoryFileSystem anew = start;
        Append(anew, MayAddInPlace::no);
        const std::string after = Found(anew);
        PowerCutDisk whole(start);
        Append(whole, MayAddInPlace::yes);
        const auto done = whole.AfterCut([] { return true; });
        EXPECT_EQ(done->Bytes(first), anew.Bytes(first)) << "the same file as one that is written anew";
        EXPECT_EQ(Found(*whole.AfterCut([] { return false; })), after) << "not durable";

        std::set<bool> seen;
        std::mt19937 random(7);
        for (int64_t step = 1; step <= whole.steps; ++step) {
            PowerCutDisk disk(start);
            disk.cutAtStep = step;
            try {
                Append(disk, MayAddInPlace::yes);
            } catch (const FileError&) {
            }
            for (const double share : {0.0, 1.0, 0.9, 0.5, 0.5, 0.1}) {
                const auto there =
                    disk.AfterCut([&] { return std::uniform_real_distribution(0.0, 1.0)(random) < share; });
                const std::string found = Found(*there);
                ASSERT_TRUE(found == before || found == after)
                    << "step " << step << ", share " << share << ": " << found.substr(0, 300);
                seen.insert(found == after);
                // What is appended next stands behind what was found.
                Append(*there, MayAddInPlace::yes);
                const std::string next = Found(*there);
                if (found == before) {
                    ASSERT_EQ(next, after) << "step " << step << ", share " << share;
                } else {
                    ASSERT_NE(next, after);
                }
            }
        }
        EXPECT_EQ(seen.size(), 2u);
    }
}

}  // namespace
}  // namespace kymora::test
