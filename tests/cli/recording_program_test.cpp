// Recording files through the real program.

#include <gtest/gtest.h>

#include "support/recording_builder.h"
#include "support/run_program.h"

namespace kymora::test {
namespace {

struct RecordingProgram : ::testing::Test {
    std::string Put(const std::string& name, const RecordingRecipe& recipe) {
        const auto& bytes = BuildRecording(recipe).file.data;
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return (folder / name).string();
    }
    TempFolder folder;
};

TEST_F(RecordingProgram, PartsAndRescuedRecordingsAreWritten) {
    const std::string whole = Put("r.kymr-rec", {}), left = Put("left.dat", {.stated = 0, .tail = false});
    const std::string out = (folder / "out.kymr-rec").string();
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* length;  // of OUT in its information; empty where none is written
    } calls[] = {
        {{"convert", whole, "-o", out, "--from", "1", "--to", "3"}, 0, "\"length\": 5,"},
        {{"convert", whole, "-o", out, "--yes"}, 0, "\"length\": 10,"},
        {{"convert", whole, "-o", out, "--from", "1", "--to", "3"}, 1, "\"length\": 10,"},
        {{"convert", whole, "-o", out, "--from", "3", "--to", "1", "--yes"}, 2, "\"length\": 10,"},
        {{"convert", whole, "-o", (folder / "x.kymr-dat").string(), "--to", "3"}, 2, "\"length\": 10,"},
        {{"recover", left, "-o", out, "--yes"}, 0, "\"length\": 10,"},
        {{"recover", left}, 2, "\"length\": 10,"},
        {{"recover", (folder / "none").string(), "-o", out}, 3, "\"length\": 10,"},
        {{"run", "CAppendRecording", whole, "--set", "file=" + whole, "-o", out, "--yes"},
         0,
         "\"length\": 20,"},
        {{"run", "CAppendRecording", whole, "--set", "file=" + whole, "-o", out + ".kymr-dat"},
         2,
         "\"length\": 20,"},
        {{"run", "CAppendRecording", whole, "--set", "file=" + whole, "--in-place"}, 0, "\"length\": 20,"},
    };
    for (const auto& call : calls) {
        const ProgramResult result = RunKymora(call.arguments);
        EXPECT_EQ(result.code, call.code) << call.arguments[0] << ": " << result.err;
        const ProgramResult info = RunKymora({"info", out, "--json"});
        EXPECT_NE(info.out.find(call.length), std::string::npos) << call.arguments[0];
    }
    EXPECT_NE(RunKymora({"info", whole, "--json"}).out.find("\"length\": 20,"), std::string::npos)
        << "in place";
    const ProgramResult noFolder = RunKymora(
        {"convert", whole, "-o", (folder / "none" / "p.kymr-rec").string(), "--from", "1", "--to", "3"});
    EXPECT_NE(noFolder.code, 0);
    EXPECT_NE(noFolder.err.find("Couldn't open Save file. Abandoning"), std::string::npos) << noFolder.err;
    std::filesystem::permissions(whole, std::filesystem::perms::owner_read);
    const ProgramResult locked =
        RunKymora({"run", "CAppendRecording", whole, "--set", "file=" + whole, "--in-place"});
    EXPECT_NE(locked.code, 0);
    EXPECT_NE(locked.err.find("has the ReadOnly property set."), std::string::npos) << locked.err;
    EXPECT_NE(RunKymora({"info", whole, "--json"}).out.find("\"length\": 20,"), std::string::npos);
    Put("kymora-unfinished-1-0.kymr-rec", {.stated = 0, .tail = false});
    const ProgramResult found = RunKymora({"recover", "-o", out});
    EXPECT_NE(found.out.find("kymora-unfinished-1-0.kymr-rec\n"), std::string::npos) << "beside OUT";
}

}  // namespace
}  // namespace kymora::test
