#pragma once
// A routine whose name chains and configurations may hold, and which says that it does nothing.

#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* notWrittenText = "Routine not written yet";

class CEventOutlierDetect : public CEventBaseDlg {
  public:
    CEventOutlierDetect() : CEventBaseDlg(usesChannel1 | usesDestination | usesText) {}
    const char* ClassName() const override { return "CEventOutlierDetect"; }
    const char* Title() const override { return "Event outlier detection"; }

    void Serialize(CArchive& archive) override {
        CEventBaseDlg::Serialize(archive);
        ExchangeVersion(archive, 1, ClassName());
    }

  protected:
    void Describe(ParamList& list) override {
        DescribeSource(list);
        DescribeDestination(list);
    }
    std::string CheckSettings() override { return notWrittenText; }
};

}  // namespace kymora
