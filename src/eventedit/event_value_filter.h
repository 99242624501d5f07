#pragma once
// "Value filter": keeps the events whose value of a chosen parameter lies beyond a limit, or between two.

#include <array>

#include "eventanalysis/event_parameters.h"
#include "eventedit/event_edit_dlg.h"

namespace kymora {

enum class ValueLimit { minimum = 0, maximum = 1, both = 2 };
enum class ValueLimitSource { direct = 0, mean = 1, median = 2, percentile = 3, tagged = 4 };

class CEventValueFilter : public CEventFilterDlg {
  public:
    CEventValueFilter() : CEventFilterDlg(usesChannel1 | usesChannel2) {}
    const char* ClassName() const override { return "CEventValueFilter"; }
    const char* Title() const override { return "Value filter"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::vector<Result> Results() override;
    std::string RunSummary() const override;

    int32_t m_nParameter = CEvParamCombo::StoredValue(EvParam::onDuration);
    int32_t m_nLimit = 0;        // ValueLimit
    int32_t m_nLimitSource = 0;  // ValueLimitSource
    // Of both limits, the minimum first.
    std::array<float, 2> m_fLimit{0.0f, 100.0f};
    std::array<double, 2> m_dMultiplier{1.0, 1.0};
    std::array<double, 2> m_dPercentile{10.0, 90.0};
    std::array<std::string, 2> m_strTag{"1", "2"};
    int32_t m_nTagChannel = 0;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::vector<int> Sources() const override;
    std::optional<std::vector<uint8_t>> Keeps(const EventsByOnset& events) override;
    void ForgetFound() override;

  private:
    EvParam Parameter() const;
    bool Is(ValueLimitSource source) const { return m_nLimitSource == static_cast<int32_t>(source); }
    // Of the minimum (0) or the maximum (1).
    bool Uses(size_t side) const;
    bool UsesMultipliers() const;
    // Nothing could pass, as far as the settings alone tell.
    bool AreLimitsCrossed() const;
    void DescribeParameter(ParamList& list);
    void DescribeLimits(ParamList& list);

    // The values of all events of the channel that begin in the recording; empty where its parameter needs a
    // parent trace, and it has none. The block knows which events those are.
    std::vector<float> ValuesOf(const CEventBlock& block) const;
    CEventBlock BlockOf(int channel) const;
    // Nothing where they cannot be told, which the user was told.
    bool FindLimits(const std::vector<float>& values);
    bool FindTaggedLimit(size_t side);

    std::optional<std::array<float, 2>> m_found;  // the limits of the last run
};

}  // namespace kymora
