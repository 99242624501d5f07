#include "kernels/sample_increase.h"

namespace kymora {

LinearFill::LinearFill(int32_t multiplier) : parts_(static_cast<size_t>(multiplier)) {
    for (size_t i = 0; i < parts_.size(); ++i)
        parts_[i] = static_cast<double>(i) / static_cast<double>(multiplier);
}

}  // namespace kymora
