#pragma once
// "Template Error Histogram": the distribution of the errors, or of the criteria, of a template, in which the
// threshold is placed by dragging its line.

#include "histograms/hist_base.h"
#include "templates/template_search.h"

namespace kymora {

class CTemplateErrorHist : public CHistBase {
  public:
    CTemplateErrorHist() : CHistBase(usesChannel1) {}
    const char* ClassName() const override { return "CTemplateErrorHist"; }
    const char* Title() const override { return "Template Error Histogram"; }

    void CheckChangeDoc(CDataDoc* doc) override;
    // The first channel that holds a template, with events if there is one; not where a file has named one.
    void SuggestSettings() override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::optional<Graph> GetGraph() override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;

    // The best value of each place that resembles the template more than its neighbours do, which takes a
    // pass over the trace, in the place of the values of the channel's events.
    bool m_bAllCandidates = false;
    float m_fAllowedError = 25.0f;  // percent
    float m_fGoodnessOfFit = 4.0f;

  protected:
    void Describe(ParamList& list) override;
    bool MakeInput(HistJob& job) override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    void OnEventChanChanged(int channel) override;

  private:
    const CEventChan* Channel() const;
    TemplateType Type() const;
    float& Threshold() { return Type() == TemplateType::scaled ? m_fGoodnessOfFit : m_fAllowedError; }
    // The threshold with which the channel was made, unless the user has set one.
    void FollowChannel();
    std::vector<float> EventValues();
    void FindEvents();
    int64_t CountWithin();

    bool m_isThresholdSet = false;
    TemplateType m_shownType = TemplateType::fixed;
    std::vector<float> m_values;  // that are shown
};

}  // namespace kymora
