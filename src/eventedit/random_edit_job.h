#pragma once
// A job that draws random numbers. The session's draws go on from where it stopped when its result is
// written: a run that was refused or cancelled has drawn nothing.

#include <random>

#include "eventedit/event_edit_dlg.h"

namespace kymora {

struct RandomEditJob : EventEditJob {
    explicit RandomEditJob(const std::mt19937& from) : random(from) {}
    std::mt19937 random;
};

}  // namespace kymora
