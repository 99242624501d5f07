#include "document/generated_doc.h"

#include <algorithm>

namespace kymora {

GeneratedDoc::GeneratedDoc(Session& session, double interval, std::vector<std::vector<float>> stored,
                           const std::vector<std::vector<uint32_t>>& runs)
    : CDataDoc(session), stored_(std::move(stored)) {
    ResetModel();
    sampleInterval = interval;
    traceCount = static_cast<int32_t>(runs.size());
    for (size_t t = 0; t < runs.size(); ++t) validRuns[t] = RunList(runs[t]);
    UpdateGapFlags();
    AllocateBuffers();
}

CEventChan& GeneratedDoc::DescribeChannel(int channel, std::string_view label, int parentTrace,
                                          std::string_view comment) {
    CEventChan& described = eventChannels[static_cast<size_t>(channel)];
    described.channelLabel = label;
    described.channelComment = comment;
    described.parentTrace = parentTrace;
    return described;
}

void GeneratedDoc::DescribeTrace(int trace, std::string_view label, std::string_view units, double bottom,
                                 double top) {
    TraceSettings& described = traces[static_cast<size_t>(trace)];
    described.traceLabel = label;
    described.traceUnits = units;
    described.axisBottom = bottom;
    described.axisTop = top;
}

void GeneratedDoc::ShowEventRows(int channels) {
    view.dataDisplayFraction = 0.75f;
    for (int c = 0; c < channels; ++c)
        eventChannels[static_cast<size_t>(c)].SetDisplayPosition(0.25 * (c + 1) / (channels + 1));
}

void GeneratedDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    for (const StoredRead& piece : pieces) {
        const std::vector<float>& samples = Stored(piece.trace);
        std::copy_n(samples.begin() + storedIndex, piece.values.size(), piece.values.begin());
    }
}

}  // namespace kymora
