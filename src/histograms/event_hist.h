#pragma once
// Histograms of the parameters of events, of counts in time bins, and of the times of one train around those
// of another.

#include "eventanalysis/event_parameters.h"
#include "histograms/hist_base.h"

namespace kymora {

class CEventHist : public CHistBase {
  public:
    CEventHist() : CHistBase(usesChannel1 | usesChannel2 | usesMulti) {}

    const char* ClassName() const override { return "CEventHist"; }
    const char* Title() const override { return "Event histogram"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nParameter = CEvParamCombo::StoredValue(EvParam::interval);

    EvParam Parameter() const;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool MakeInput(HistJob& job) override;
    // A mixture of other values starts from those.
    void OnEventChanChanged(int channel) override {
        m_hist.mix.isSet = false;
        CHistBase::OnEventChanChanged(channel);
    }

  private:
    class ChannelsKept;

    bool Is(EvParam param) const { return m_strFile.empty() && Parameter() == param; }
    bool IsPhase() const { return Is(EvParam::phaseIn) || Is(EvParam::phaseNear); }
    bool IsCorrelogram() const;
    bool IsInTimeBins() const { return Is(EvParam::frequencyInBin) || Is(EvParam::countInBin); }
    bool HasTimeBin() const { return IsInTimeBins() || Is(EvParam::distributionCount); }
    // In a grid of all pairs the list says both.
    bool UsesChannel2() const {
        return m_strFile.empty() && NeedsTwoChannels(Parameter()) &&
               !(Is(EvParam::crossCorrelation) && m_channels.size() > 1);
    }
    bool AddInput(HistJob& job);
    bool TakeValues(HistInput& input);
    bool TakeTimeBins(HistInput& input);
    void TakeTrains(HistInput& input) const;
};

}  // namespace kymora
