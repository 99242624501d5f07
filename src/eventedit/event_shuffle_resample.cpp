#include "eventedit/event_shuffle_resample.h"

#include "eventedit/random_edit_job.h"
#include "eventedit/retimed_events.h"
#include "eventedit/shuffle_intervals.h"

namespace kymora {

namespace {

constexpr uint32_t shuffleVersion = 1;

}  // namespace

void CEventShuffleResample::Serialize(CArchive& archive) {
    CEventEditDlg::Serialize(archive);
    ExchangeVersion(archive, shuffleVersion, ClassName());
    Exchange(archive, m_nKind);
}

void CEventShuffleResample::GetParamText(std::string& text) {
    CEventEditDlg::GetParamText(text);
    text += m_nKind == 0 ? "Shuffle source event channel.\r\n" : "Resample source event channel.\r\n";
}

void CEventShuffleResample::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Intervals");
    list.Choice("kind", "Intervals", m_nKind, {"shuffle", "resample"})
        .Buttons()
        .Tip(
            "Random shuffle intervals in source event channel; Random resample with replacement intervals in "
            "source event channel");
    DescribeTarget(list);
}

std::unique_ptr<EventEditJob> CEventShuffleResample::NewJob() const {
    return std::make_unique<RandomEditJob>(Document()->GetSession().random);
}

bool CEventShuffleResample::Edit(EventEditJob& job) {
    const EventsByOnset source(Channel(m_nChannel1));
    std::vector<int32_t> onsets(static_cast<size_t>(source.Size()));
    for (int rank = 0; rank < source.Size(); ++rank) onsets[static_cast<size_t>(rank)] = source.On(rank);
    const std::vector<int64_t> made = ReorderIntervals(onsets, static_cast<IntervalOrder>(m_nKind),
                                                       static_cast<RandomEditJob&>(job).random);
    const int64_t length = Document()->GetLength();
    std::vector<EventEnds> ends;
    ends.reserve(made.size());
    int64_t beyond = 0;
    for (int rank = 0; rank < source.Size(); ++rank) {
        const int64_t on = made[static_cast<size_t>(rank)];
        const int64_t off = on + source.Off(rank) - source.On(rank);
        ends.push_back({on, off, off <= length});
        beyond += off > length;
    }
    RetimedEvents shuffled = Retime(source, ends);
    job.found.front().events = std::move(shuffled.events);
    job.extra = std::move(shuffled.extra);
    job.sourceEvents = source.Size();
    job.counts = {{"Dropped", beyond}};
    return true;
}

bool CEventShuffleResample::Write(OperationJob& job, UndoScope& undo) {
    const int64_t beyond = static_cast<EventEditJob&>(job).counts.front().second;
    if (!CEventEditDlg::Write(job, undo)) return false;
    Document()->GetSession().random = static_cast<RandomEditJob&>(job).random;
    if (beyond > 0)
        Tell(EventsText(beyond) + " passed the end of the recording and " + (beyond == 1 ? "was" : "were") +
             " left out.");
    return true;
}

}  // namespace kymora
