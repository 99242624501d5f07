#pragma once
// "Multi-Trace Template Recognition": a template from each of several traces, and an event where all of them
// match at once. The first is sought along its trace; the others where it has matched, within a slack around
// the place that each has relative to it.

#include "operations/event_base_dlg.h"
#include "templates/pattern_job.h"
#include "templates/secondary_search.h"
#include "templates/template_wave.h"

namespace kymora {

// One of the templates.
struct MultiTracePart {
    int channel = 0;  // from whose first event it was captured
    TemplateWave wave;
    int64_t place = 0;  // of its first sample from that of the primary one, samples
};

class CMultiTracePatternRecognition : public CEventWndBaseDlg {
  public:
    CMultiTracePatternRecognition() : CEventWndBaseDlg(usesMulti | usesDestination | usesText) {}
    const char* ClassName() const override { return "CMultiTracePatternRecognition"; }
    const char* Title() const override { return "Multi-Trace Template Recognition"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    std::optional<Graph> GetGraph() override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::string RunSummary() const override;

    int32_t m_nFrequencyMultiplier = 1;
    int32_t m_nSpareBins = 10;  // samples
    float m_fSlack = 1.0f;      // ms
    bool m_bOptimalScaleOffset = false;
    float m_fAllowedError = 25.0f;  // percent
    float m_fGoodnessOfFit = 4.0f;
    float m_fMinimumPeakToPeak = 0.0f;  // units of the primary trace

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool KeepsListOrder() const override { return true; }
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void TakeFound(const EventJob& job) override;
    void AppendReport(std::string& text, const EventJob& job) override;

  private:
    struct Job;

    float Threshold() const { return m_bOptimalScaleOffset ? m_fGoodnessOfFit : m_fAllowedError; }
    // Throws TemplateFault with the words for the user, and FileError.
    std::vector<MultiTracePart> CaptureParts();
    MultiTracePart CapturePart(int channel);

    // Of the last run.
    struct Found {
        std::vector<MultiTracePart> parts;
        std::vector<TemplateMatch> matches;
        std::vector<std::vector<SecondaryMatch>> others;  // of each match, one for each part but the first
        int64_t primaries = 0;                            // matches to the primary template alone
        int64_t tooSmall = 0;
    };
    std::optional<Found> m_found;
};

}  // namespace kymora
