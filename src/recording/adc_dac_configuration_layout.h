#pragma once
// The parts of an ADC-DAC configuration that hold settings, read from an archive that loads or written to one
// that stores.

#include "archive/archive.h"
#include "recording/acquisition_settings.h"

namespace kymora {

uint32_t LatestSectionVersion(RecordingType type);

// The axes of all channels, as they stand in the head of a file.
void ExchangeAxes(CArchive& archive, AcquisitionSettings& settings);

// The section of the type, behind its version: one up to the latest when reading, the latest when writing.
// What a version does not have is left as it is, but for the stimulus mode. Reading throws ArchiveError,
// before memory is taken for what the file cannot hold.
void ExchangeSection(CArchive& archive, AcquisitionSettings& settings, uint32_t version);

}  // namespace kymora
