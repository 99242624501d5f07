#pragma once

#include "protocol/acq_prop_page.h"

namespace kymora {

// What the inputs of the simulated board have to say.
class AcqPropPageSimulated : public AcqPropPage {
  public:
    using AcqPropPage::AcqPropPage;
    const char* Title() const override { return "Simulated &board"; }
    bool IsThere() const override { return m_state.board.isSimulated; }
    void Describe(ParamList& list) override;
};

}  // namespace kymora
