#pragma once
// The recording interface as its window uses it.

#include "acquisition/dt_gen_acq_view.h"

namespace kymora {

class RecordingEngine : public CDTGenAcqView {
  public:
    using CDTGenAcqView::ActiveChannels;
    using CDTGenAcqView::CDTGenAcqView;
    using CDTGenAcqView::FillDocument;
};

}  // namespace kymora
