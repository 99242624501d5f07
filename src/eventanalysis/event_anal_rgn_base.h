#pragma once
// The frame of analyses over event data: the controls of CEventBaseDlg, the four-way analysis region, and the
// CEventBlock that both make.

#include "eventanalysis/event_block.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* analysisEndText =
    "End analysis time must be after start analysis time. Resetting.";

class CEventAnalRgnBase : public CEventBaseDlg {
  public:
    explicit CEventAnalRgnBase(unsigned uses) : CEventBaseDlg(uses) {}

    // Its record follows that of CBatchBaseDlg: the controls stand in an order of their own.
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;

    int32_t m_nRegionMode = regionWholeFile;
    double m_dRegionStart = 0.0, m_dRegionEnd = 100.0;  // ms
    int32_t m_nGateChannel = 0;

    // The blocks of the region with the events of channel 1 (and channel 2, where the operation has one) and
    // the parent trace: the trace control where there is one, else the trace of channel 1.
    const CEventBlock& Block() const { return m_block; }

  protected:
    std::optional<RegionFields> Region() override {
        return RegionFields{m_nRegionMode, m_dRegionStart, m_dRegionEnd};
    }
    void DescribeRegion(ParamList& list);
    // Makes the block anew from the document as it stands. False when a user-set end is not after the start:
    // the user was told, and the end was put behind it.
    bool RetrieveData();
    // Why there is no region at all: its gate holds no events. Empty where there is one.
    std::string EmptyGateFault() const;
    // Deletes those findings that the user has rejected from the channel whose events they are, where they
    // still stand as they were found. Answers what was done; empty where the channel is locked.
    std::string DeleteRejected(int channel, const Findings& findings);

  private:
    CEventBlock m_block;
};

}  // namespace kymora
