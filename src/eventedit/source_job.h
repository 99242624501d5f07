#pragma once
// A job that makes events from those of one channel and the samples within them. It has the channel by value,
// so that any thread may do it.

#include "eventedit/random_edit_job.h"

namespace kymora {

class SourceJob : public RandomEditJob {
  public:
    explicit SourceJob(const std::mt19937& from) : RandomEditJob(from) {}

    // The trace whose samples are read; -1 for none.
    void Take(const CEventChan& channel, int readTrace) {
        source = channel;
        trace = readTrace;
        sourceEvents = source.GetNumEvents();
    }
    int64_t Samples() const override {
        int64_t samples = 0;
        for (const CEventKM& event : source.Events())
            if (trace >= 0) samples += std::max<int64_t>(0, int64_t{event.offPosition} - event.onPosition);
        return samples;
    }

  protected:
    // Does something with each event, in the order of onset, and shows how far it is.
    template <typename Do>
    void EachEvent(JobContext& context, Do does) {
        const EventsByOnset events(source);
        ProgressScope progress(context, title, static_cast<uint64_t>(events.Size()),
                               Samples() > samplesAtOnce ? 0 : static_cast<uint64_t>(events.Size()));
        for (int rank = 0; rank < events.Size(); ++rank) {
            if (rank % 64 == 0) progress.At(static_cast<uint64_t>(rank));
            does(events, rank);
        }
    }

    CEventChan source;
    int trace = -1;
};

}  // namespace kymora
