#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// How long a recording is, how it is shown meanwhile, and where it goes.
class CAcqPropPageRecGen : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "&Recording"; }
    bool IsThere() const override { return !m_state.settings.IsRefractory(); }
    void Describe(ParamList& list) override;

  private:
    void DescribeSaving(SettingList& list);
    void ChooseBase();
};

}  // namespace kymora
