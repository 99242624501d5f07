#pragma once
// A small dialog of its own for the analysis region, where a command needs no more than that.

#include <vector>

#include "operations/event_base_dlg.h"

namespace kymora {

class CAnalysisRgn {
  public:
    int32_t m_nRegionMode = regionVisible;
    double m_dRegionStart = 0.0, m_dRegionEnd = 100.0;  // ms
    int32_t m_nGateChannel = 0;

    // Asks for the region, with the words of the button that goes on. False when the user cancels.
    bool Ask(CDataDoc& doc, const std::string& title, const std::string& okLabel);
    // The stretches of the region in a document, held to the recording; those of no length are left out.
    std::vector<SampleSpan> GetSpans(const CDataDoc& doc, const DocumentView* view) const;
};

}  // namespace kymora
