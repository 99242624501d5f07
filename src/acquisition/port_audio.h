#pragma once
// Sound by PortAudio, read and written by calls that wait.

#include "acquisition/sound_system.h"

namespace kymora {

// Null where there is no such library here. The devices are those that are there when it is made.
std::unique_ptr<SoundSystem> MakeSoundSystem();

}  // namespace kymora
