#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// The pulses of the refractory protocol, and how they step.
class CAcqPropPageRefrStim : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "&Pulses"; }
    bool IsThere() const override { return m_state.settings.IsRefractory(); }
    void Describe(ParamList& list) override;

  private:
    bool IsAutomatic() const {
        return m_state.settings.m_eRecordingType == RecordingType::refractoryAutomatic;
    }
    void DescribePulses(SettingList& list);
    void DescribeSweeps(SettingList& list);
    std::string WarningText() const;
};

}  // namespace kymora
