#include "results/result.h"

namespace kymora {

void Result::SetRows(std::vector<std::vector<ResultValue>> kept) {
    rows = [kept = std::move(kept)](const ResultRowSink& sink) {
        for (const auto& row : kept)
            if (!sink(row)) return false;
        return true;
    };
}

}  // namespace kymora
