#pragma once
// Ctrl+C and its like ask a running command to stop; what it does about it is its progress's business.

namespace kymora {

// From now on an interrupt, a termination or a hang-up sets a flag, and a closed pipe is an error of the
// write.
void CatchInterrupts();
// A write beyond the largest size that a file may have is an error of the write from now on, as on a full
// disk, and does not end the program with its temporary files left behind.
void FailAtFileLimits();
bool WasInterrupted();
// A standard stream that the caller closed would lend its number to the next file that is opened, and a
// message would then be written into a recording. Puts something harmless in its place.
void HoldStandardStreams();

}  // namespace kymora
