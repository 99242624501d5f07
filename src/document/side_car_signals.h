#pragma once
// The last part of a side-car: which signals of the file its traces are, and what it keeps for others. It
// stands behind the guard string, where readers that do not know of it have stopped.

#include "archive/archive.h"
#include "document/data_doc.h"

namespace kymora {

// The traces that a side-car was made with.
struct SideCarTraces {
    // Whether it tells their signals. Where it does not, as those of earlier versions, they are the
    // labels of the slots that seem to be in use.
    bool areTold = false;
    std::vector<TraceSignal> sources;
    std::vector<AbsentTrace> absent;
};

// Whether the part begins here, and then passes its mark. What follows the guard string may as well be the
// rest of a longer side-car that another program has written over.
bool FindSignalsMark(CArchive& archive);

// What follows the mark, in a side-car of that version; tells nothing where a later program has written it.
SideCarTraces LoadSignals(CArchive& archive, int version);

// The whole part; nothing for a recording that knows no signals.
void StoreSignals(CArchive& archive, const CDataDoc& doc);

}  // namespace kymora
