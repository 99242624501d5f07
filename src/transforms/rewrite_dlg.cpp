#include "transforms/rewrite_dlg.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

CTransformDlg::Written CRewriteDlg::WriteRecording(CArchive& archive, const std::filesystem::path&) {
    CDataDoc& doc = *Document();
    const DrawWatch draws(doc.GetSession());
    const auto plan = MakePlan(doc);
    std::string report;
    GetParamText(report);
    report += "\r\n";
    RecordingRewriter engine(doc);
    engine.Write(archive, *plan, CommentBehind(doc.fileComment),
                 HistoryStep{report, Title(), Settings(), doc.GetSession().seed, draws.Draws()});
    TellNotFinite(engine.NotFinite(), [&](int trace) { return engine.StoredCount(trace); });
    if (engine.EventsBehindEnd() > 0)
        Tell(fmt::format("{} events began among the last samples, which are too few to leave one. They are "
                         "kept behind the end of the result.",
                         engine.EventsBehindEnd()));
    TellMore(doc);
    return {true, {}, engine.History(), engine.Steps()};
}

int64_t LongestTrace(const CDataDoc& doc) {
    int64_t longest = 0;
    for (int t = 0; t < doc.traceCount; ++t) longest = std::max(longest, doc.GetTraceLength(t));
    return longest;
}

}  // namespace kymora
