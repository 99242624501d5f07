// What becomes of each file of a run, before one is opened.

#include "batch/run_plan.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "document/side_car.h"
#include "host/file_names.h"
#include "host/memory_file_system.h"

namespace kymora::test {
namespace {

using Files = std::vector<std::filesystem::path>;

// Each file with its target, or with why it is not run; or else the fault of the whole.
std::string Told(const RunPlan& plan) {
    if (plan.fault == RunPlan::Fault::severalToOne) return "several to one";
    if (plan.fault == RunPlan::Fault::outIsRead) return "reads " + plan.at.string();
    if (plan.fault == RunPlan::Fault::replacesNamed) return "replaces " + plan.at.string();
    std::string told;
    for (const PlannedFile& planned : plan.files) {
        told += told.empty() ? "" : ", ";
        if (planned.why == PlannedFile::Why::namedTwice) told += "twice";
        if (planned.why == PlannedFile::Why::sameTarget) told += "for " + planned.other.string();
        if (planned.why == PlannedFile::Why::replacesNamed) told += "named " + planned.target.string();
        if (planned.IsRun()) told += planned.IsInPlace() ? "itself" : planned.target.string();
    }
    return told;
}

class RunPlanTest : public ::testing::Test {
  protected:
    RunPlanTest() {
        for (const char* name : {"/a.kymr-dat", "/a.edf", "/b.flt", "/a_tr.kymr-dat", "/old.txt", "/s.cfg"})
            files.Put(name, {});
        files.Put(NameInstead("/a.edf", ".kymr-hdr"), {});
    }
    MemoryFileSystem files;
};

TEST_F(RunPlanTest, ABatchAndATerminalPlanTheirFiles) {
    using enum Affects;
    using enum Keep;
    const struct {
        Affects affects;
        Keep keep;
        Files files;
        const char* batch;
        const char* terminal;
    } cases[] = {
        {events, inPlace, {"/a.kymr-dat", "/b.flt"}, "itself, itself", "itself, itself"},
        {events, inPlace, {"/a.edf"}, "/a.kymr-dat", "itself"},
        {events, inPlace, {"/a.edf", "/a.kymr-dat"}, "for /a.kymr-dat, itself", "itself, itself"},
        {events, inPlace, {"/a.kymr-dat", "/a.edf"}, "for /a.edf, /a.kymr-dat", "itself, itself"},
        {events, writeNew, {"/a.kymr-dat", "/b.flt"}, "/a_tr.kymr-dat, /b_tr.kymr-dat", nullptr},
        {events, writeNew, {"/a.edf", "/A.edf"}, "/a_tr.kymr-dat, /A_tr.kymr-dat", nullptr},
        {events, writeNew, {"/a.edf", "/./a.kymr-dat"}, "for /./a.kymr-dat, /./a_tr.kymr-dat", nullptr},
        {events,
         writeNew,
         {"/gone.edf", "/gone_tr.kymr-dat"},
         "named /gone_tr.kymr-dat, /gone_tr_tr.kymr-dat",
         "replaces /gone_tr.kymr-dat"},
        {events,
         writeNew,
         {"/a.edf", "/a_tr.kymr-dat"},
         "named /a_tr.kymr-dat, /a_tr_tr.kymr-dat",
         "replaces /a_tr.kymr-dat"},
        {traces, inPlace, {"/a.kymr-dat"}, "itself", "itself"},
        {traces, inPlace, {"/b.flt"}, "/b.kymr-dat", "/b.kymr-dat"},
        {traces, inPlace, {"/a.edf", "/a.kymr-dat"}, "for /a.kymr-dat, itself", "replaces /a.kymr-dat"},
        {nothing, nowhere, {"/a.edf", "/a.kymr-dat"}, "itself, itself", nullptr},
        {nothing, nowhere, {"/a.edf", "/b.flt", "/a.edf"}, "twice, itself, itself", "itself, itself, twice"},
        {events, inPlace, {"/b.flt", "/../b.flt"}, "for /../b.flt, itself", "itself, twice"},
    };
    for (const auto& [affects, keep, named, batch, terminal] : cases) {
        RunRequest request{affects, keep, named};
        EXPECT_EQ(Told(PlanRun(files, request)), batch);
        request.usesSideCars = request.refusesNamed = request.runsFirst = true;
        EXPECT_EQ(Told(PlanRun(files, request)), terminal ? terminal : batch);
    }
}

TEST_F(RunPlanTest, OneFileTakesOneResultAndNothingThatIsRead) {
    const struct {
        Affects affects;
        Files files;
        const char* out;
        const char* told;
    } cases[] = {
        {Affects::events, {"/a.edf"}, "/new.flt", "/new.flt"},
        {Affects::events, {"/a.edf"}, "/a.edf", "reads /a.edf"},
        {Affects::events, {"/a.edf"}, "/./a.edf", "reads /a.edf"},
        {Affects::nothing, {"/b.flt", "/a.edf"}, "/a.kymr-hdr", "reads /a.kymr-hdr"},
        {Affects::traces, {"/a.edf", "/b.flt"}, "/new.kymr-dat", "several to one"},
        {Affects::nothing, {"/a.edf", "/b.flt"}, "/new.txt", "/new.txt, /new.txt"},
        {Affects::nothing, {"/a.edf"}, "/s.cfg", "reads /s.cfg"},
        {Affects::newRecording, {"/old.txt"}, "/old.txt", "reads /old.txt"},
        {Affects::newRecording, {"/old.txt"}, "/a.kymr-dat", "/a.kymr-dat"},
    };
    for (const auto& [affects, named, out, told] : cases)
        EXPECT_EQ(Told(PlanRun(files, {affects, Keep::out, named, out, {"/s.cfg"}})), told) << out;
}

}  // namespace
}  // namespace kymora::test
