#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// Which channels are recorded, at which rate, and how they are called and drawn.
class CAcqPropPage16Chan : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "&Channels"; }
    bool IsThere() const override { return m_state.settings.HasBoard(); }
    void Describe(ParamList& list) override;

  private:
    void DescribeRate(SettingList& list);
    void DescribeChannels(SettingList& list);
    // What the board gives for what is set, and what it does not.
    std::string RateText() const;
    std::string WarningText() const;
    // Of a channel, kHz: that which the board answers, or that which is set.
    double RateKHz() const;
};

}  // namespace kymora
