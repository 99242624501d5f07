#include "frequency/longest_part.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

namespace {

constexpr const char* longestPartText = "The region is divided by gaps or boundaries of episodes. The "
                                        "longest part of it is shown, from {:.10g} to {:.10g} "
                                        "ms.";

}  // namespace

TraceStretch TakeLongestPart(CBatchBaseDlg& operation, int trace, SampleSpan region) {
    const CDataDoc& doc = *operation.Document();
    TraceStretch longest;
    for (const TraceStretch& stretch : UnbrokenStretches(doc, trace)) {
        const TraceStretch part{std::max<int64_t>(stretch.start, region.first),
                                std::min<int64_t>(stretch.end, region.end)};
        if (part.Count() > longest.Count()) longest = part;
    }
    if (longest.Count() > 0 && longest.Count() < region.Count())
        operation.Tell(fmt::format(longestPartText, doc.TimeOf(longest.start), doc.TimeOf(longest.end)));
    return longest;
}

}  // namespace kymora
