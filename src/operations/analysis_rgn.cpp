#include "operations/analysis_rgn.h"

#include <algorithm>

#include "document/form_choices.h"
#include "host/form.h"

namespace kymora {

bool CAnalysisRgn::Ask(CDataDoc& doc, const std::string& title, const std::string& okLabel) {
    Form form(title);
    form.okLabel = okLabel;
    form.AddRadio("region", "Analysis region", {"whole file", "visible screen", "user set", "gate channel"},
                  m_nRegionMode);
    const auto isUserSet = [](const Form& f) { return f.Choice("region") == regionUserSet; };
    Field& start = form.AddNumber("regionStart", "Start (ms)", m_dRegionStart, regionStartTip);
    start.least = 0.0;
    start.enabled = isUserSet;
    Field& end = form.AddNumber("regionEnd", "End (ms)", m_dRegionEnd, regionEndTip);
    end.least = 0.0;
    end.enabled = isUserSet;
    const std::vector<std::string> channels = ChannelChoices(doc.GetSession());
    const int last = static_cast<int>(channels.size()) - 1;
    Field& gate = form.AddChoice("gateChannel", "Gate channel", channels, std::clamp(m_nGateChannel, 0, last),
                                 gateChannelTip);
    gate.enabled = [](const Form& f) { return f.Choice("region") == regionGate; };
    form.validate = [&isUserSet](const Form& f) {
        const bool isReversed = isUserSet(f) && !(f.Number("regionEnd") > f.Number("regionStart"));
        return std::string(isReversed ? regionOrderText : "");
    };
    if (!doc.GetHost().AskForm(form)) return false;
    m_nRegionMode = form.Choice("region");
    m_dRegionStart = form.Number("regionStart");
    m_dRegionEnd = form.Number("regionEnd");
    m_nGateChannel = form.Choice("gateChannel");
    return true;
}

std::vector<SampleSpan> CAnalysisRgn::GetSpans(const CDataDoc& doc, const DocumentView* view) const {
    std::vector<SampleSpan> spans =
        RegionSpans(doc, view, {m_nRegionMode, m_dRegionStart, m_dRegionEnd, m_nGateChannel});
    std::erase_if(spans, [](const SampleSpan& span) { return span.first >= span.end; });
    return spans;
}

}  // namespace kymora
