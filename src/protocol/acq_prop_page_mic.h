#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// Device, channels and rate of sound input.
class CAcqPropPageMic : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "So&und"; }
    bool IsThere() const override { return m_state.settings.m_eRecordingType == RecordingType::microphone; }
    void Describe(ParamList& list) override;
};

}  // namespace kymora
