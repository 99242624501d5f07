#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// Port, channels and rate of a board on a serial port.
class CAcqPropPageArd : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "Ser&ial board"; }
    bool IsThere() const override { return m_state.settings.m_eRecordingType == RecordingType::arduino; }
    void Describe(ParamList& list) override;

  private:
    void DescribeBoard(SettingList& list);
    void HoldRate();
};

}  // namespace kymora
