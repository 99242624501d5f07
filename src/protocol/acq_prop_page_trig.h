#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// When a recording begins.
class CAcqPropPageTrig : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "&Trigger"; }
    void Describe(ParamList& list) override;

  private:
    void DescribeLevel(SettingList& list);
    // Of the trace that triggers, V over its gain.
    std::pair<double, double> InputRange() const;
    std::string WarningText() const;
};

}  // namespace kymora
