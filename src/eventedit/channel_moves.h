#pragma once
// Event channels that change places, or are copied, with all they have: settings, events, coordinates, lock
// and place in the view.

#include <string>
#include <utility>
#include <vector>

#include "document/undo.h"

namespace kymora {

class CDataDoc;

inline constexpr const char* episodeChannelText =
    "Event channel a marks the episodes of this recording and stays where it is.";
// Takes the name of the channel.
inline constexpr const char* lockedInTheWayText =
    "Event channel {} is locked. Unlock it, or choose other places.";
inline constexpr const char* beyondLastChannelText =
    "The channels would reach beyond the last one, 998. Choose a lower first place.";

// From where to where.
using ChannelMove = std::pair<int, int>;

// The places of channels from `target` on: one behind the other, or with the distances that they have from
// the first of them.
std::vector<ChannelMove> MovesTo(const std::vector<int>& channels, int target, bool isCompact);

// The moves with those added that the channels which stand in the way make, in their order, to the places
// that become free, so that nothing is lost. Those that stay where they are, are left out. Each channel is
// moved to a place of its own.
std::vector<ChannelMove> WithReturns(const std::vector<ChannelMove>& moves);

// Whether one of them leads beyond the places that there are.
bool ReachBeyond(const std::vector<ChannelMove>& moves);

// Why they may not be done; empty when they may. A channel that is moved takes its lock along, but a locked
// one is not driven out.
std::string MoveFault(const CDataDoc& doc, const std::vector<ChannelMove>& moves);
std::string CopyFault(const CDataDoc& doc, const std::vector<ChannelMove>& copies);

// Does WithReturns of them. Channels whose events were found in a channel that moves follow it.
void MoveChannels(CDataDoc& doc, const std::vector<ChannelMove>& moves, UndoScope& undo);
// A copy is not locked and stands in the view where the channel in its place stood.
void CopyChannels(CDataDoc& doc, const std::vector<ChannelMove>& copies, UndoScope& undo);

}  // namespace kymora
