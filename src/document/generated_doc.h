#pragma once
// A recording whose samples were made in memory.

#include <vector>

#include "document/data_doc.h"

namespace kymora {

class GeneratedDoc : public CDataDoc {
  public:
    // Traces without labels, for the caller to fill in. `stored` holds the samples of each trace without its
    // gaps, `runs` their run lists.
    GeneratedDoc(Session& session, double interval, std::vector<std::vector<float>> stored,
                 const std::vector<std::vector<uint32_t>>& runs);

    // A label for the channel and where its events stand; the events follow by AddEvent.
    CEventChan& DescribeChannel(int channel, std::string_view label, int parentTrace,
                                std::string_view comment);
    void DescribeTrace(int trace, std::string_view label, std::string_view units, double bottom, double top);

    // Gives the first channels the upper quarter of the view, one row each, and the traces the rest.
    void ShowEventRows(int channels);

    const std::vector<float>& Stored(int trace) const { return stored_[static_cast<size_t>(trace)]; }

  protected:
    void Load() override {}
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    std::vector<std::vector<float>> stored_;
};

}  // namespace kymora
