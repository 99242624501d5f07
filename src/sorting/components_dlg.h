#pragma once
// The frame of the operations that find the principal components of the waveforms of events and keep the
// weights of each event on the first three in its channel's table: which events, which window, the texts, the
// tables and the graph.

#include <array>

#include "operations/event_base_dlg.h"
#include "sorting/component_views.h"
#include "sorting/waveform_rows.h"

namespace kymora {

inline constexpr const char* noFirstEventText = "You need to give a first event.";
inline constexpr const char* fewEventsText = "PCA needs at least 4 events.";
inline constexpr size_t leastPcaEvents = 4;
// Takes the samples of a row and the most that there may be.
inline constexpr const char* tooWideText = "A covariance matrix of {} samples is more than its eigenvectors "
                                           "are found of ({}). Shorten the window, or "
                                           "find the components by NIPALS.";

class CComponentsDlg : public CEventBaseDlg {
  public:
    CComponentsDlg() : CEventBaseDlg(usesChannel1 | usesTrace) {}

    void CheckChangeDoc(CDataDoc* doc) override;
    void GetParamText(std::string& text) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    // "Weighting coefficients", and a line of weights for each event.
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::string RunSummary() const override;

    int32_t m_nFirstEvent = 1;   // from 1; 0: none is given
    int32_t m_nEventCount = -1;  // -1: all from the first on
    // The window from the onset, ms; both the same: the shortest duration of the events.
    double m_dWindowStart = 0.0, m_dWindowEnd = 0.0;
    bool m_bSetComponents = false;
    int32_t m_nComponents = 3;
    int32_t m_nGraphX = 1, m_nGraphY = 2;  // the components that the graph shows, from 1

  protected:
    // Finds the components of the rows, on any thread: nothing where the user is to be asked first. What it
    // has to say goes to the log. The answer holds its settings by value.
    using Method = std::function<std::optional<PrincipalComponents>(
        const WaveformRows& rows, const RowsDone& rowsDone, std::string& log)>;
    virtual Method MakeMethod() const = 0;
    // The same where the user has been asked for: nothing abandons.
    virtual std::optional<PrincipalComponents> FindWithUser(const WaveformRows&) { return std::nullopt; }

    void DescribeEvents(ParamList& list);
    void DescribeComponents(ParamList& list);
    void ExchangeEvents(CArchive& archive);
    bool ReadsParentTrace() const override { return true; }
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

    size_t Components() const { return m_bSetComponents ? static_cast<size_t>(m_nComponents) : 3; }

  private:
    class Job;
    struct Found {
        PrincipalComponents components;
        WindowTimes times;
        std::vector<int32_t> events;  // of the range, by index in the channel
        std::vector<double> onsets;   // of the same, ms
        std::vector<int> rows;        // the row of each; -1 for one that has no weights
    };
    const CEventChan& Source() const { return Document()->eventChannels[static_cast<size_t>(m_nChannel1)]; }
    bool HasWindow() const { return m_dWindowEnd != m_dWindowStart; }
    void TakeWindow(Job& job);
    void KeepWeights(const Found& found, UndoScope& undo);
    void CopyWeights();

    std::optional<Found> m_found;
};

}  // namespace kymora
