// Other sample rates for 5,000,000 samples, against writing as many bytes as a copy of the recording does:
// the result's where it is longer, the source's where that is.

#include <cstdlib>
#include <functional>

#include "bench_files.h"
#include "transforms/change_timebase.h"
#include "transforms/interpolate.h"
#include "transforms/reduce.h"
#include "transforms/resample.h"

namespace kymora::bench {
namespace {

constexpr int64_t length = 5'000'000;

void Write(CTransformDlg& dialog, CFloatDoc& doc, const std::filesystem::path& to) {
    dialog.CheckChangeDoc(&doc);
    if (!dialog.WriteFile(doc.GetSession(), to, true).isDone) std::abort();
}

// The recording itself through the same doors: head, samples, tail, and all of it on the disk.
void Copy(CFloatDoc& doc, const std::filesystem::path& to) {
    CReduce copy;
    copy.m_nFrequencyDivisorFactor = 1;
    Write(copy, doc, to);
}

struct Case {
    const char* name;
    const char* goal;
    int64_t samples;  // that a copy of the same bytes has
    std::function<void(CFloatDoc&, const std::filesystem::path&)> work;
};

void Run(Session& session) {
    const Folder folder;
    const auto out = folder / "out.kymr-dat";
    const Case cases[] = {
        {"reduce by 4, mean", "1.5", length,
         [](CFloatDoc& doc, const auto& to) {
             CReduce dialog;
             dialog.m_nFrequencyDivisorFactor = 4;
             Write(dialog, doc, to);
         }},
        {"reduce by 4, extremes", "1.5", length,
         [](CFloatDoc& doc, const auto& to) {
             CReduce dialog;
             dialog.m_nFrequencyDivisorFactor = 4;
             dialog.m_nMode = 2;
             Write(dialog, doc, to);
         }},
        {"increase by 4, lines", "1.5", 4 * length,
         [](CFloatDoc& doc, const auto& to) {
             CInterpolate dialog;
             dialog.m_nFrequencyMultiplier = 4;
             dialog.m_nType = CInterpolate::linear;
             Write(dialog, doc, to);
         }},
        {"another timebase", "1.5", length,
         [](CFloatDoc& doc, const auto& to) {
             CChangeTimebase dialog;
             dialog.m_dNewSampleInterval = 0.1;
             dialog.m_bIsSet = true;
             Write(dialog, doc, to);
         }},
        {"resample 3/2", "none", length,
         [](CFloatDoc& doc, const auto& to) {
             CResample dialog;
             dialog.m_nUp = 3;
             dialog.m_nDown = 2;
             Write(dialog, doc, to);
         }},
    };
    MakeNative(session, folder / "source.kymr-dat", 1, length, 0, false);
    MakeNative(session, folder / "long.kymr-dat", 1, 4 * length, 0, false);
    CFloatDoc doc(session), longDoc(session);
    if (!doc.OnOpenDocument(folder / "source.kymr-dat", OpenFor::reading)) std::abort();
    if (!longDoc.OnOpenDocument(folder / "long.kymr-dat", OpenFor::reading)) std::abort();
    for (const Case& one : cases) {
        double copy = 1e300, work = 1e300;
        // By turns, so that a disturbance of the disk meets both.
        for (int round = 0; round < 5; ++round) {
            std::filesystem::remove(out);
            copy = std::min(copy, Seconds(1, [&] { Copy(one.samples == length ? doc : longDoc, out); }));
            std::filesystem::remove(out);
            work = std::min(work, Seconds(1, [&] { one.work(doc, out); }));
        }
        std::printf("%s: %.1f ms, copy of the same bytes %.1f ms; ratio %.2f (goal: %s)\n", one.name,
                    work * 1e3, copy * 1e3, work / copy, one.goal);
    }
}

}  // namespace
}  // namespace kymora::bench

int main() {
    kymora::QuietHost host;
    kymora::DiskFileSystem files;
    kymora::Session session(host, files);
    kymora::bench::Run(session);
    return 0;
}
