// A sorting goes out to a folder for manual curation, and the clusters come back.

#include "sorting/import_sorting.h"

#include "archive/npy.h"
#include "document/native_writer.h"
#include "document/undo.h"
#include "eventedit/event_edit_fixture.h"
#include "sorting/find_shapes.h"

namespace kymora::test {
namespace {

class ImportSortingTest : public EventEditTest {
  protected:
    enum Channel { candidates = 0, firstUnit = 5, firstImported = 10 };

    // Two shapes of spikes, 25 and 20 of them.
    void SetUp() override {
        std::vector<float> values(20000);
        for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<float>((i * 7919) % 101) * 0.01f;
        std::vector<CEventKM> all;
        for (int i = 0; i < 45; ++i) {
            const int at = 200 + 400 * i;
            const float size = i % 9 < 5 ? -30.0f : 20.0f;
            for (int k = -4; k <= 4; ++k)
                values[static_cast<size_t>(at + k)] += size / static_cast<float>(1 + k * k);
            all.push_back({at, at + 4});
        }
        doc = MemoryDoc::Make(session, {values}, 0.05);
        FillEvents(candidates, all);
    }
    template <typename Value>
    void PutArray(const char* name, const std::vector<Value>& values) {
        WriteFileAtomically(files, std::string("in/") + name, [&](CArchive& archive) {
            WriteNpy<Value>(archive, std::vector<size_t>{values.size()}, values);
        });
    }
    void PutText(const char* path, std::string_view text) {
        const auto from = std::as_bytes(std::span(text));
        files.Put(path, {from.begin(), from.end()});
    }
    std::string TextOf(const char* path) {
        const auto file = files.Open(path, OpenMode::readOnly);
        std::string text(static_cast<size_t>(file->Length()), ' ');
        ReadWhole(*file, 0, std::as_writable_bytes(std::span(text)));
        return text;
    }
};

TEST_F(ImportSortingTest, WhatGoesOutComesBack) {
    CFindShapes sorter;
    const Settings settings{{"polarity", "either"},
                            {"desiredClusters", "2"},
                            {"frequencyMultiplier", "2"},
                            {"destination", "f"},
                            {"exportFolder", "out"}};
    ASSERT_EQ(Run(sorter, settings), "");
    const Spans first = Found(firstUnit), second = Found(firstUnit + 1);
    ASSERT_EQ(first.size() + second.size(), 45u);
    EXPECT_EQ(TextOf("out/params.py").substr(0, 27), "dat_path = []\nn_channels_da");
    EXPECT_EQ(TextOf("out/cluster_group.tsv"), "cluster_id\tgroup\n1\tunsorted\n2\tunsorted\n");
    EXPECT_NE(TextOf("out/templates.npy").find("'shape': (3, 40, 1)"), std::string::npos);

    PutText("out/cluster_group.tsv", "cluster_id\tgroup\r\n1\tgood\r\n2\tnoise\r\n");
    CImportSorting import;
    ASSERT_EQ(Run(import, {{"folder", "out"}, {"destination", "k"}, {"duration", "0.2"}}), "");
    EXPECT_EQ(Found(firstImported), first);
    EXPECT_EQ(Chan(firstImported).channelLabel, "cluster 1 good");
    EXPECT_EQ(Chan(firstImported + 1).GetNumEvents(), 0);
    ASSERT_EQ(Run(import, {{"withNoise", "1"}}), "");
    EXPECT_EQ(Found(firstImported + 1), second);
    EXPECT_EQ(import.RunSummary(), "2 clusters");
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Chan(firstImported + 1).GetNumEvents(), 0);

    host.answer = false;
    EXPECT_NE(Run(sorter, {{"destination", "p"}}), "");
    EXPECT_EQ(host.questions.back().text, "out holds a sorting already. OK to overwrite it?");
    EXPECT_EQ(TextOf("out/cluster_group.tsv").substr(18, 6), "1\tgood");
}

TEST_F(ImportSortingTest, BadFilesAreRefusedInWords) {
    CImportSorting import;
    const Settings settings{{"folder", "in"}, {"destination", "k"}};
    const auto says = [&](const char* words) {
        const std::string said = Run(import, settings);
        EXPECT_NE(said.find(words), std::string::npos) << said;
        EXPECT_EQ(Chan(firstImported).GetNumEvents(), 0);
    };
    EXPECT_EQ(Run(import, {}), "Name the folder of the sorting.");
    says("spike_times.npy");
    PutArray<int64_t>("spike_times.npy", {5, 20000});
    PutText("in/spike_clusters.npy", "nothing");
    says("in/spike_clusters.npy: This is no array of NumPy.");
    PutArray<int32_t>("spike_clusters.npy", {1, 1, 1});
    says("spike_times.npy has 2 numbers and spike_clusters.npy has 3: they are not of one sorting.");
    PutArray<int32_t>("spike_clusters.npy", {1, 3});
    says("Spike 2 lies at sample 20000, and the recording has 20000.");
    PutArray<int64_t>("spike_times.npy", {19999, 7});
    PutText("in/cluster_group.tsv", "cluster_id\tgroup\none\tgood\n");
    says("in/cluster_group.tsv: line 2 is no cluster with its group.");
    PutText("in/cluster_group.tsv", "cluster_id\tgroup\n1\tnoise\n3\tnoise\n");
    says("No cluster is left");
    PutText("in/cluster_group.tsv", "cluster_id\tgroup\n\n3\tmua\n");
    PutText("in/params.py", "sample_rate = 30000.\n");
    says("with 30000 samples a second, and this one has 20000.");
    PutText("in/params.py", "sample_rate = fast\n");
    says("the sample rate is no number");
    PutText("in/params.py", "dat_path = 'x.dat'\nsample_rate = 20000\n");
    EXPECT_EQ(Run(import, {{"destination", "998"}}).substr(0, 4), "The ");
    Chan(firstImported + 1).channelLocked = true;
    EXPECT_EQ(Run(import, settings), lockedChannelText);
    Chan(firstImported + 1).channelLocked = false;
    ASSERT_EQ(Run(import, settings), "");
    EXPECT_EQ(Found(firstImported), (Spans{{19999, 20000}}));
    EXPECT_EQ(Found(firstImported + 1), (Spans{{7, 27}}));
    EXPECT_EQ(Chan(firstImported + 1).channelLabel, "cluster 3 mua");
    // Without groups those of the table of clusters, whose heads name its columns.
    PutText("in/cluster_group.tsv", "cluster_id\tgroup\n");
    PutText("in/cluster_info.tsv", "cluster_id\tch\tgroup\tfr\n1\t2\t\t0\n3\t5\tgood\t1.2\n");
    ASSERT_EQ(Run(import, settings), "");
    EXPECT_EQ(Chan(firstImported).channelLabel, "cluster 1");
    EXPECT_EQ(Chan(firstImported + 1).channelLabel, "cluster 3 good");
}

}  // namespace
}  // namespace kymora::test
