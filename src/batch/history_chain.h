#pragma once
// The operations that made a recording, as a list that makes it again.

#include <optional>

#include "batch/multi_batch.h"
#include "document/history_steps.h"

namespace kymora {

struct HistoryChain {
    CMultiBatch list;
    // Each names an entry and says why the list lacks it.
    std::vector<std::string> leftOut;
    // The seed with which a batch gives the same random draws; nothing where none were drawn.
    std::optional<uint64_t> seed;
    // Each names an entry of the list whose draws a batch with that seed does not give.
    std::vector<std::string> otherDraws;
};

// What was undone counts as never done.
HistoryChain ChainOfHistory(const std::vector<HistoryEntry>& entries);

// The class that a record of settings begins with; empty where it begins with none.
std::string ClassNameOf(std::span<const std::byte> record);

}  // namespace kymora
