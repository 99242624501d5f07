#include "eventanalysis/event_anal_rgn_base.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "document/undo.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t analysisVersion = 1;

}  // namespace

void CEventAnalRgnBase::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, analysisVersion, ClassName());
    for (int32_t* number : {&m_nChannel1, &m_nChannel2, &m_nDestination}) Exchange(archive, *number);
    ExchangeTrace(archive);
    Exchange(archive, m_strLabel);
    Exchange(archive, m_strDescription);
    Exchange(archive, m_channels);
    Exchange(archive, m_nRegionMode);
    Exchange(archive, m_dRegionStart);
    Exchange(archive, m_dRegionEnd);
    Exchange(archive, m_nGateChannel);
}

void CEventAnalRgnBase::GetParamText(std::string& text) {
    text += "Analysis region:\t";
    const auto times = [&](TimeSpan span) {
        text += fmt::format("Start = {:.2f}, End = {:.2f}\r\n", span.start, span.end);
    };
    switch (m_nRegionMode) {
    case regionWholeFile:
        text += "whole file\r\n";
        break;
    case regionVisible:
        text += "visible screen:\r\n\t";
        times(VisibleTimes(*Document(), View()));
        break;
    case regionUserSet:
        text += "user set:\r\n\t";
        times({m_dRegionStart, m_dRegionEnd});
        break;
    case regionGate:
        text += "gate channel:\t" + ChannelName(m_nGateChannel) + "\r\n";
        break;
    }
    CEventBaseDlg::GetParamText(text);
}

void CEventAnalRgnBase::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CEventBaseDlg::CheckChangeDoc(doc);
    m_block = CEventBlock();
    if (doc && isOther) m_dRegionEnd = std::max(m_dRegionEnd, LeastRegionEnd(doc));
}

bool CEventAnalRgnBase::RetrieveData() {
    CDataDoc& doc = *Document();
    const bool isReversed = m_nRegionMode == regionUserSet && !(m_dRegionEnd > m_dRegionStart);
    if (isReversed) {
        Refuse(analysisEndText);
        m_dRegionEnd = std::max(m_dRegionStart + resetRegionMs, LeastRegionEnd(&doc));
        return false;
    }
    const int parent = Has(usesTrace) ? m_nTrace : doc.GetParentTrace(m_nChannel1);
    m_block = CEventBlock(doc, m_nChannel1, Has(usesChannel2) ? m_nChannel2 : -1, parent);
    for (const SampleSpan& span :
         RegionSpans(doc, View(), {m_nRegionMode, m_dRegionStart, m_dRegionEnd, m_nGateChannel}))
        m_block.AddBlock(span.first, span.end - span.first);
    m_block.FillEvs();
    return true;
}

std::string CEventAnalRgnBase::EmptyGateFault() const {
    if (m_nRegionMode != regionGate || Document()->GetNumEvents(m_nGateChannel) > 0) return {};
    return fmt::format(emptyGateText, ChannelName(m_nGateChannel));
}

std::string CEventAnalRgnBase::DeleteRejected(int channel, const Findings& findings) {
    CDataDoc& doc = *Document();
    const CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
    std::map<std::pair<int32_t, int32_t>, int> rejected;
    for (const Finding& finding : findings.rows)
        if (finding.verdict == Verdict::rejected) ++rejected[{finding.onset, finding.offset}];
    std::vector<CEventKM> rest;
    for (const CEventKM& event : chan.Events()) {
        const auto found = rejected.find({event.onPosition, event.offPosition});
        if (found == rejected.end() || found->second == 0)
            rest.push_back(event);
        else
            --found->second;
    }
    const int count = chan.GetNumEvents() - static_cast<int>(rest.size());
    {
        UndoScope undo(doc, "Delete rejected events");
        if (!undo.SpliceEvents(channel, 0, chan.GetNumEvents(), std::move(rest))) return {};
        if (count > 0) {
            undo.NoteInHistory();
            AppendHistory(
                fmt::format("\tDeleted {} rejected events from channel {}\r\n", count, ChannelName(channel)));
        }
    }
    doc.UpdateAllViews(UpdateHint::events);
    return fmt::format("{} event{} deleted from channel {}", count, count == 1 ? "" : "s",
                       ChannelName(channel));
}

void CEventAnalRgnBase::DescribeRegion(ParamList& list) {
    list.Group("Analysis region");
    list.Choice("region", "Region", m_nRegionMode,
                {"whole file", "visible screen", "user set", "gate channel"})
        .Buttons()
        .Tip(fmt::format("{}; {}; {}; {}", wholeFileTip, visibleTip, userSetTip, gateTip));
    DescribeUserTimes(list, m_nRegionMode, m_dRegionStart, m_dRegionEnd);
    list.Channel("gateChannel", "Gate channel", m_nGateChannel)
        .Tip(gateChannelTip)
        .Shows([this] { return EventCountText(Document(), m_nGateChannel); })
        .EnabledIf([this] { return m_nRegionMode == regionGate; });
}

}  // namespace kymora
