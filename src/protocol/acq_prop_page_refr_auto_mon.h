#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// What an automatic search monitors, and the review of its sweeps.
class CAcqPropPageRefrAutoMon : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "&Monitor"; }
    bool IsThere() const override {
        return m_state.settings.m_eRecordingType == RecordingType::refractoryAutomatic;
    }
    void Describe(ParamList& list) override;

  private:
    void DescribeMonitor(SettingList& list);
    void DescribeReview(SettingList& list);
};

}  // namespace kymora
