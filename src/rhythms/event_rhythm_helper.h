#pragma once
// "Rhythm analysis helper": makes a channel of pattern events by one of several routes, shows their frequency
// and duration against time with robust trends, lists what does not follow them, and mends it: by itself, one
// by one, or by hand between two cursors.

#include "detection/hills.h"
#include "eventanalysis/event_anal_rgn_base.h"
#include "rhythms/event_train.h"
#include "rhythms/pattern_trend.h"

namespace kymora {

inline constexpr const char* longIntervalText = "Warning, you have set a Maximum in-burst interval that is "
                                                "within the top 2% of intervals. This might take a long "
                                                "time. Continue?";
inline constexpr const char* twoCursorsText = "You should have 2 vertical cursors bracketing the source "
                                              "events that you want to include in the destination "
                                              "burst.";

enum class PatternRoute { hillValley = 0, minOffOn = 1, poisson = 2, asItStands = 3 };

class CEventRhythmHelper : public CEventAnalRgnBase {
  public:
    CEventRhythmHelper();
    const char* ClassName() const override { return "CEventRhythmHelper"; }
    const char* Title() const override { return "Rhythm analysis helper"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void OnUpdate(UpdateHint) override { m_analysed.reset(); }
    std::string RunSummary() const override;
    std::optional<Graph> GetGraph() override;
    std::vector<Result> Results() override;
    bool HasResultText() const override { return true; }
    // The trends: their MADs and factors, and the fit at each event.
    void WriteResult(const TextSink& sink) override;
    // The outliers. Those that the user rejects get the fix that is proposed.
    bool HasFindings() const override { return true; }
    bool FindingsFollowSettings() const override { return true; }
    Findings GetFindings() override;
    const char* RejectionLabel() const override { return "Fix rejected"; }
    std::string RejectFindings(const Findings& findings) override;

    int32_t m_nRoute = static_cast<int32_t>(PatternRoute::minOffOn);
    int32_t m_nDirection = static_cast<int32_t>(HillKind::hills);
    // Those of hill-valley analysis, %.
    float m_fUpSlope = static_cast<float>(usualSlope), m_fDownSlope = static_cast<float>(usualSlope);
    int32_t m_nMeasureFrom = static_cast<int32_t>(SlopeFrom::centre);
    float m_fMergeFoothills = 0.0f, m_fExcludeMolehills = 0.0f;  // in the units of the trace
    double m_dMinimumOff = 100.0, m_dMinimumOn = 0.0;            // ms
    float m_fSurprise = 2.0f;
    float m_fMaxInBurst = 100.0f;  // ms
    int32_t m_nMinEvents = 3;
    int32_t m_nDegree = 2;
    double m_dOutlierLimit = 5.0;  // MAD
    bool m_bAutofix = false;
    int32_t m_nEdit = static_cast<int32_t>(PatternEdit::merge);
    double m_dMergeFrom = 0.0, m_dMergeTo = 0.0;  // ms; equal: nothing is edited

    // Does it between the two cursors of the view, as one step that can be undone.
    void EditAtCursors(PatternEdit edit);
    void ExportFit();

  protected:
    void Describe(ParamList& list) override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    void AppendReport(std::string& text, const EventJob& job) override;
    bool MayWriteSource() const override { return !ReadsSource(); }
    void OnEventChanChanged(int channel) override;

  private:
    class Job;
    bool ReadsSource() const;
    // What the rhythm channel holds, and what is found of it.
    struct Analysed {
        Pattern pattern;
        PatternTrends trends;
        std::vector<PatternOutlier> outliers;
        std::vector<double> settings;  // of the fit
        double limit = -1.0;           // of the outliers
    };

    bool Is(PatternRoute route) const { return m_nRoute == static_cast<int32_t>(route); }
    const CEventChan& RhythmChannel() const {
        return Document()->eventChannels[static_cast<size_t>(m_nDestination)];
    }
    Pattern PatternNow() const;
    // The trace that the route reads, or that the source comes from.
    int GapTrace() const;
    void TakeTrace(Job& job) const;
    const Analysed& Now();
    Analysed Fitted(std::vector<double> settings);
    bool MayTakeLong(const std::vector<EventTrain>& trains);
    void DescribeRoute(ParamList& list);
    void DescribeHills(ParamList& list);
    void DescribeEditing(ParamList& list);
    std::string FixLines(std::span<const DoneFix> fixes) const;
    // Puts other events into the rhythm channel, as a step with these lines. False where it is locked.
    bool Replace(const char* name, std::vector<CEventKM> events, const std::string& lines);

    std::optional<Analysed> m_analysed;
    std::vector<DoneFix> m_fixed;  // by the last run
};

}  // namespace kymora
