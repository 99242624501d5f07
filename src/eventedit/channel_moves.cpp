#include "eventedit/channel_moves.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "document/data_doc.h"

namespace kymora {

namespace {

CEventChan& ChannelAt(CDataDoc& doc, int channel) { return doc.eventChannels[static_cast<size_t>(channel)]; }

bool IsLocked(const CDataDoc& doc, int channel) {
    return doc.eventChannels[static_cast<size_t>(channel)].channelLocked;
}

// Channels that were made from one that moves name its new place.
void LeadReferences(CDataDoc& doc, const std::map<int, int>& places, UndoScope& undo) {
    for (int channel = 0; channel < maxEventChannels; ++channel) {
        CEventChan& chan = ChannelAt(doc, channel);
        const auto place = places.find(chan.detection.burstSourceChannel);
        if (chan.detectionMethod != methodPoissonSurprise || place == places.end()) continue;
        undo.KeepChannelSettings(channel);
        chan.detection.burstSourceChannel = place->second;
    }
}

}  // namespace

std::vector<ChannelMove> MovesTo(const std::vector<int>& channels, int target, bool isCompact) {
    std::vector<ChannelMove> moves;
    for (const int channel : channels)
        moves.emplace_back(
            channel, target + (isCompact ? static_cast<int>(moves.size()) : channel - channels.front()));
    return moves;
}

std::vector<ChannelMove> WithReturns(const std::vector<ChannelMove>& moves) {
    std::set<int> from, to;
    for (const auto& [channel, place] : moves) {
        from.insert(channel);
        to.insert(place);
    }
    std::vector<int> driven, free;
    std::set_difference(to.begin(), to.end(), from.begin(), from.end(), std::back_inserter(driven));
    std::set_difference(from.begin(), from.end(), to.begin(), to.end(), std::back_inserter(free));
    std::vector<ChannelMove> all = moves;
    for (size_t i = 0; i < std::min(driven.size(), free.size()); ++i) all.emplace_back(driven[i], free[i]);
    std::erase_if(all, [](const ChannelMove& move) { return move.first == move.second; });
    return all;
}

bool ReachBeyond(const std::vector<ChannelMove>& moves) {
    return std::any_of(moves.begin(), moves.end(), [](const ChannelMove& move) {
        return move.second < 0 || move.second >= maxEventChannels;
    });
}

std::string MoveFault(const CDataDoc& doc, const std::vector<ChannelMove>& moves) {
    if (ReachBeyond(moves)) return beyondLastChannelText;
    std::set<int> named;
    for (const ChannelMove& move : moves) named.insert(move.first);
    for (const auto& [channel, place] : WithReturns(moves)) {
        if (doc.episodic && (channel == 0 || place == 0)) return episodeChannelText;
        if (!named.contains(channel) && IsLocked(doc, channel))
            return fmt::format(lockedInTheWayText, ChannelName(channel));
    }
    return {};
}

std::string CopyFault(const CDataDoc& doc, const std::vector<ChannelMove>& copies) {
    if (ReachBeyond(copies)) return beyondLastChannelText;
    for (const auto& [channel, place] : copies) {
        if (channel == place) continue;
        if (doc.episodic && place == 0) return episodeChannelText;
        if (IsLocked(doc, place)) return fmt::format(lockedInTheWayText, ChannelName(place));
    }
    return {};
}

void MoveChannels(CDataDoc& doc, const std::vector<ChannelMove>& moves, UndoScope& undo) {
    const std::vector<ChannelMove> all = WithReturns(moves);
    for (const ChannelMove& move : all) undo.KeepChannel(move.second);
    std::map<int, CEventChan> taken;
    for (const ChannelMove& move : all) taken[move.second] = std::move(ChannelAt(doc, move.first));
    for (auto& [place, chan] : taken) ChannelAt(doc, place) = std::move(chan);
    LeadReferences(doc, {all.begin(), all.end()}, undo);
}

void CopyChannels(CDataDoc& doc, const std::vector<ChannelMove>& copies, UndoScope& undo) {
    std::map<int, CEventChan> made;
    for (const auto& [channel, place] : copies) {
        if (channel == place) continue;
        undo.KeepChannel(place);
        CEventChan& copy = made[place] = ChannelAt(doc, channel);
        copy.channelLocked = false;
        copy.SetDisplayPosition(ChannelAt(doc, place).GetDisplayPosition());
    }
    for (auto& [place, chan] : made) ChannelAt(doc, place) = std::move(chan);
}

}  // namespace kymora
