#pragma once
// The stretch of a region that an analysis of neighbouring samples takes.

#include "document/trace_stretches.h"
#include "operations/event_base_dlg.h"

namespace kymora {

// The longest part of the region in which the trace has samples side by side; where that is not all of the
// region, it is told. Empty where there are none.
TraceStretch TakeLongestPart(CBatchBaseDlg& operation, int trace, SampleSpan region);

}  // namespace kymora
