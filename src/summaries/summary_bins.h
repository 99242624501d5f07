#pragma once
// Bins from a summary.

#include "summaries/summary.h"

namespace kymora {

// Whether a summary helps with these bins: they are longer than its blocks, or as long and begin where they
// do.
bool SummaryServes(const SummaryShape& shape, int64_t from, int level);

// The bins that ReadBins (bins.h) would read, from a summary of the same document where SummaryServes. Whole
// blocks come from the summary; samples are read at the ends of bins that lie within a block, and there only
// when that block reaches further than the rest of the bin. The chunks of [from, from + 4,000 bins) must have
// been built. False when `progress` stopped it. Throws SummaryError or FileError.
bool ReadBinsFromSummary(CDataDoc& doc, Summary& summary, int64_t from, int level, Progress* progress,
                         Bins& bins);

}  // namespace kymora
