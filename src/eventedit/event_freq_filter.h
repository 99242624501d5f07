#pragma once
// "Event frequency filter": keeps the events within which others, such as the spikes of a burst, begin often
// and regularly enough.

#include "eventedit/event_edit_dlg.h"

namespace kymora {

inline constexpr const char* averageOrderText =
    "The minimum average interval must not be longer than the maximum average interval.";

class CEventFreqFilter : public CEventFilterDlg {
  public:
    CEventFreqFilter() : CEventFilterDlg(usesChannel1 | usesChannel2) {}
    const char* ClassName() const override { return "CEventFreqFilter"; }
    const char* Title() const override { return "Event frequency filter"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nMinIntervalCount = 1;
    float m_fMaxAverageInterval = 100000.0f, m_fMinAverageInterval = 0.0f;  // ms
    float m_fMaxCv = 1000.0f;                                               // %

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::vector<int> Sources() const override { return {m_nChannel1, m_nChannel2}; }
    std::optional<std::vector<uint8_t>> Keeps(const EventsByOnset& events) override;
};

}  // namespace kymora
