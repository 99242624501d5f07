// Everything that writes a file over another, with the power going at each of its steps: what stands there
// afterwards is the old file or the new one, whole, and the next run finds nothing in its way.

#include <gtest/gtest.h>

#include <random>

#include "document/float_doc.h"
#include "exchange/event_file.h"
#include "import/open_document.h"
#include "operations/config_file.h"
#include "support/edf_builder.h"
#include "support/native_builder.h"
#include "support/opposite_transform.h"
#include "support/power_cut_disk.h"
#include "support/test_host.h"

namespace kymora {
namespace {

using test::PowerCutDisk;

constexpr const char* recording = "/rec.kymr-dat";

struct WritingCase {
    const char* name;
    const char* source;
    const char* target;
    std::function<void(CDataDoc&)> write;
};

std::ostream& operator<<(std::ostream& out, const WritingCase& one) { return out << one.name; }

void AddEvents(CDataDoc& doc) {
    doc.fileComment += "a longer comment";
    for (int i = 0; i < 400; ++i) doc.AddEvent(5, {i, i + 1, 0.0f, 0, 0, "new"});
}

const WritingCase cases[] = {
    {"save in place", recording, recording,
     [](CDataDoc& doc) {
         AddEvents(doc);
         doc.OnSaveDocument();
     }},
    {"transform in place", recording, recording,
     [](CDataDoc& doc) {
         test::COpposite dialog;
         dialog.CheckChangeDoc(&doc);
         dialog.WriteFile(doc.GetSession(), recording, false);
     }},
    {"side-car", "/rec.edf", "/rec.kymr-hdr",
     [](CDataDoc& doc) {
         AddEvents(doc);
         doc.OnSaveDocument();
     }},
    {"event file", recording, "/out.kymr-evt",
     [](CDataDoc& doc) {
         AddEvents(doc);
         WriteEventFile(doc, 5, "/out.kymr-evt");
     }},
    {"settings", recording, "/out.kymr-cfg",
     [](CDataDoc& doc) {
         test::COpposite dialog;
         SaveConfig(doc.GetSession(), dialog, "/out.kymr-cfg");
     }},
};

class PowerCut : public ::testing::TestWithParam<WritingCase> {
  protected:
    // The state before: the source, and the target as an earlier run left it.
    MemoryFileSystem Start() {
        MemoryFileSystem disk;
        disk.Put(recording, test::BuildNative({}).file.data);
        disk.Put("/rec.edf", test::EdfBuilder().AddRamp("EEG", 500).Build());
        if (!disk.Has(GetParam().target)) disk.Put(GetParam().target, std::vector<std::byte>(5000));
        return disk;
    }
    void Write(FileSystem& files) {
        Session session(host, files);
        session.now = [] { return std::time_t{0}; };
        const auto doc = OpenDocument(session, GetParam().source);
        if (doc) GetParam().write(*doc);
    }
    std::vector<std::byte> Recovered(MemoryFileSystem& disk) {
        if (GetParam().target == std::string_view(recording)) {
            Session session(host, disk);
            EXPECT_TRUE(OpenDocument(session, recording)) << host.LastMessage();
        }
        return disk.Bytes(GetParam().target);
    }
    test::TestHost host;
};

TEST_P(PowerCut, LeavesTheOldFileOrTheNew) {
    for (const bool unnamed : {true, false}) {
        MemoryFileSystem start = Start();
        const auto before = start.Bytes(GetParam().target);
        PowerCutDisk whole(start);
        whole.opensUnnamed = unnamed;
        Write(whole);
        const auto after = whole.AfterCut([] { return true; })->Bytes(GetParam().target);
        const size_t files = whole.AfterCut([] { return true; })->Count();
        EXPECT_LE(files, start.Count() + 1) << "the steps of a transform, and nothing temporary";
        ASSERT_NE(before, after);
        ASSERT_EQ(whole.AfterCut([] { return false; })->Bytes(GetParam().target), after) << "not durable";

        std::set<bool> seen;
        std::mt19937 random(1);
        for (int64_t step = 1; step <= whole.steps; ++step) {
            PowerCutDisk disk(start);
            disk.opensUnnamed = unnamed;
            disk.cutAtStep = step;
            try {
                Write(disk);
            } catch (const FileError&) {
            }
            // Nothing unsynced is there, all of it, or a part: much, half or little.
            for (const double share : {0.0, 1.0, 0.9, 0.9, 0.9, 0.5, 0.5, 0.5, 0.5, 0.1, 0.1, 0.1}) {
                const auto there =
                    disk.AfterCut([&] { return std::uniform_real_distribution(0.0, 1.0)(random) < share; });
                const auto found = Recovered(*there);
                const bool isNew = found == after;
                ASSERT_TRUE(isNew || found == before) << "step " << step << ", share " << share;
                seen.insert(isNew);
                Write(*there);
                EXPECT_EQ(there->Count(), files) << "step " << step << ", share " << share;
            }
        }
        EXPECT_EQ(seen.size(), 2u);
    }
}

INSTANTIATE_TEST_SUITE_P(Writers, PowerCut, ::testing::ValuesIn(cases));

}  // namespace
}  // namespace kymora
