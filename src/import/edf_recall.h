#pragma once
// What the side-car of an EDF file tells of its signals, before they are chosen.

#include <vector>

#include "document/side_car.h"
#include "import/edf_doc.h"

namespace kymora {

struct CEDFDoc::Recalled {
    SideCarTraces stored;
    // The places of its slots, and of what it holds beside them, among the signals that are no annotations;
    // -1 for those that the file does not have. No slots where they cannot be told from the labels alone.
    std::vector<int> slots, absent;
    std::vector<int> choice;  // indexes in the header's signals; empty where nothing is known
};

}  // namespace kymora
