#pragma once
// What ends a recording, in words for the user.

#include "acquisition/acq_messages.h"

namespace kymora {

struct AcqFault {
    AcqMessage message;
    const char* text;
};
inline constexpr AcqFault acqFaults[] = {
    {AcqMessage::overrun, "Buffer overrun in attempting to save data to disk. Recording stopped."},
    {AcqMessage::boardOverrun, "Overrun Error on input (reduce sample frequency)"},
    {AcqMessage::boardUnderrun, "Underrun Error on output (reduce sample frequency)"},
    {AcqMessage::nullBuffer, "NULL buffer in ADC BufferDone."},
    {AcqMessage::bufferNotFilled, "Acquisition buffer not filled."},
    {AcqMessage::queueDone, "The board had no buffer left. Recording stopped."},
    {AcqMessage::boardGone,
     "The board does not answer any more. Recording stopped; what came until then is stored."},
    {AcqMessage::boardRefused,
     "The board refused a buffer. Recording stopped; what came until then is stored."},
    {AcqMessage::storageFailed, ""},  // told when the storage thread has ended
};

inline constexpr const char* underWayText =
    "A recording is under way already. Stop it before you start another one.";
inline constexpr const char* nothingToSaveText =
    "There is nothing to save: what was recorded is saved already.";
// With the name of the temporary file.
inline constexpr const char* samplesKeptText =
    "The samples are kept in {}. Save again, or make a recording of them with \"kymora recover\".";

}  // namespace kymora
