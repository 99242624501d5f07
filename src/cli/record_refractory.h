#pragma once
// The refractory protocol from the terminal.

#include "cli/record_run.h"

namespace kymora {

// Type refractoryAutomatic searches unattended until it ends or the user interrupts; refractoryManual makes
// one sweep with the initial values and accepts it. Writes delays with their thresholds, and the accepted
// sweeps into the output. Throws CommandError.
void RunRefractory(SubcommandContext& context, const RecordRequest& request, RecordingType type, bool asJson,
                   const std::function<void(AcquisitionSettings&)>& change);

}  // namespace kymora
