#include "eventedit/event_merge_overlap.h"

#include "eventedit/merge_overlaps.h"

namespace kymora {

namespace {

constexpr uint32_t mergeVersion = 1;

}  // namespace

void CEventMergeOverlap::Serialize(CArchive& archive) {
    CEventCombineDlg::Serialize(archive);
    ExchangeVersion(archive, mergeVersion, ClassName());
}

void CEventMergeOverlap::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel1")->EnabledIf([this] { return m_channels.empty(); });
    list.Find("channels")
        ->Tip(
            "Source event channels (can be more than two), in place of channel 1; those whose events overlap "
            "become one, with value, label, tag and colour of the first");
    DescribeTarget(list);
}

bool CEventMergeOverlap::Edit(EventEditJob& job) {
    std::vector<CEventKM>& events = job.found.front().events;
    events = MergeOverlaps(TakeSources(job));
    job.counts = {{"Joined", job.sourceEvents - std::ssize(events)}};
    return true;
}

}  // namespace kymora
