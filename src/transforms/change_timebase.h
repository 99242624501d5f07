#pragma once
// "Change data timebase": the same samples at another interval.

#include "transforms/rewrite_dlg.h"

namespace kymora {

class CChangeTimebase : public CRewriteDlg {
  public:
    CChangeTimebase() : CRewriteDlg("Timebase") {}
    const char* ClassName() const override { return "CChangeTimebase"; }
    const char* Title() const override { return "Change data timebase"; }

    // A recording's own interval stands there until another one is set.
    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    // The result in the same stretch of time.
    void OnNeedData(PreviewData& data) override;

    double m_dNewSampleInterval = 1.0;      // ms; this is what counts
    double m_dNewSampleFrequency = 1000.0;  // Hz, the same
    bool m_bIsSet = false;                  // by the user or by settings

  protected:
    void Describe(ParamList& list) override;
    std::unique_ptr<RecordingPlan> MakePlan(CDataDoc& doc) override;
};

}  // namespace kymora
