#pragma once
// Where the rows of event channels stand above the traces, and how much of the height they have. Places are
// fractions of the plot's height; what is left to the traces is the data area.

#include <vector>

#include "display/view_settings.h"
#include "document/data_doc.h"

namespace kymora {

// Channels with a row: visible, with events; ascending.
std::vector<int> EventRowChannels(const CDataDoc& doc);

// Those of the channels that stand where channels begin.
std::vector<int> UnplacedOf(const CDataDoc& doc, std::vector<int> rows);

// What is left to the traces below rows that have been placed.
float RoomBelow(const CDataDoc& doc, const std::vector<int>& rows);

// The rows of a recording that opens which need a place: those at their defaults that would stand on the
// traces, where the rows have a band of their own, or where no row was ever placed.
std::vector<int> RowsToPlace(const CDataDoc& doc, float dataArea);

// Gives rows that have come a place of their own above the traces, where they stand on none yet: behind the
// rows that are there, and where these fill their band, in a larger one, at the traces' cost. The greatest
// band is shared evenly. A row that the user has placed stays. Answers the data area.
float PlaceNewRows(CDataDoc& doc, const std::vector<int>& come, float dataArea);

// The rows above the traces keep their shares of the band when the data area becomes another.
void ScaleRows(CDataDoc& doc, float before, float after);

}  // namespace kymora
