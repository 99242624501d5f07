#pragma once
// "Template Recognition": finds each place in a trace where the signal resembles a captured waveform, and
// makes an event of it.

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "operations/event_base_dlg.h"
#include "operations/write_recording.h"
#include "templates/pattern_job.h"
#include "templates/template_wave.h"

namespace kymora {

inline constexpr const char* foreignChannelText =
    "Event channel not from Template recognition. Cannot Retrieve parameters.";
inline constexpr const char* noAverageText =
    "Analyse the trace before attempting to replace the template with the average";
inline constexpr const char* diagnosticBatchText =
    "Save error/template are for diagnostic (immediate) use and cannot be used in Batch mode. Cancelling";

class CPatternRecognition : public CEventWndBaseDlg {
  public:
    CPatternRecognition() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CPatternRecognition"; }
    const char* Title() const override { return "Template Recognition"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    // With diagnostic traces the recording becomes another one.
    Affects WhatItAffects() const override { return AddsTraces() ? Affects::traces : Affects::events; }
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    std::string BatchFault() const override { return AddsTraces() ? diagnosticBatchText : std::string(); }
    void CheckChangeDoc(CDataDoc* doc) override;
    // A template that came with the settings is the one that they find.
    void SettingsWereChosen() override;
    void OnUpdate(UpdateHint hint) override;
    bool CanLookAhead() const override { return !AddsTraces(); }
    std::vector<ViewGuide> Guides() override;
    std::optional<Graph> GetGraph() override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::string RunSummary() const override;

    // Where a run takes its template from.
    enum Source : int32_t { captured = 0, retrieved = 1, average = 2, inSettings = 3 };

    // Each takes a template for the runs that follow. Throws TemplateFault and FileError.
    void Capture();
    void Retrieve(int channel);
    void TakeAverage();

    int32_t m_nFirstCursor = 2, m_nSecondCursor = 1;
    bool m_bAddErrorTrace = false, m_bAddTemplateTrace = false;
    float m_fAllowedError = 25.0f;  // percent
    float m_fGoodnessOfFit = 4.0f;
    int32_t m_nTemplateType = 0;  // TemplateType
    int32_t m_nAdaptiveAverage = 8;
    float m_fMinimumPeakToPeak = 0.0f;  // units of the trace
    int32_t m_nSpareBins = 10;          // samples
    int32_t m_nFrequencyMultiplier = 1;
    bool m_bMatchFile = false;
    std::string m_strMatchFileName;  // empty: beside the recording
    int32_t m_nTemplateSource = captured;
    int32_t m_nTemplateTrace = 0;
    double m_dTemplateStart = 0.0, m_dTemplateEnd = 0.0;  // ms
    int32_t m_nRetrieveChannel = 0;
    bool m_bAllTraces = false;
    TemplateWave m_template;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.clear(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    bool WouldStumble() const override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void TakeFound(const EventJob& job) override;
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;
    void AppendReport(std::string& text, const EventJob& job) override;
    void OnParentTraceChanged() override;

  private:
    bool AddsTraces() const { return m_bAddErrorTrace || (m_bAddTemplateTrace && IsScaled()); }
    TemplateType Type() const { return static_cast<TemplateType>(m_nTemplateType); }
    bool IsScaled() const { return Type() == TemplateType::scaled; }
    // The allowed error is near the one of a stretch without any signal, or above it.
    bool IsNearBaseline(float flat) const;
    float Threshold() const { return IsScaled() ? m_fGoodnessOfFit : m_fAllowedError; }
    std::string Units() const;

    // The window; pattern_recognition_fields.cpp.
    void DescribeTemplate(ParamList& list);
    void DescribeMatching(ParamList& list);
    void DescribeExtras(ParamList& list);
    void CaptureBetweenCursors();
    // The user has said anew where the template comes from: it is shown as a run would take it.
    void TakeAsChosen();
    void Attempt(const std::function<void()>& does);
    void ListTemplate();
    std::string TemplateText() const;
    std::string BaselineText() const;
    Field& Noted(Field& field, const char* key);

    // What it shows; pattern_recognition_results.cpp.
    GraphPane TemplatePane() const;
    std::string ListText() const;
    std::string OpenText() const;
    void ExchangeChosen(CArchive& archive);

    // As the source says, without taking it over.
    TemplateWave WaveOf(Source source);
    // Reads the parameters that are kept with a channel, but those in `chosen`.
    void TakeStoredSettings(const CEventChan& channel);
    TemplateSearch SearchFor(const TemplateWave& wave) const;
    std::vector<int> Traces() const;
    bool MayUseKept(const PatternJob& job) const;
    std::filesystem::path MatchFilePath() const;
    WrittenRecording WriteWithTraces(Session& session, CArchive& archive,
                                     const std::filesystem::path& target);

    std::string m_strOrigin;             // of the template, for the report
    std::filesystem::path m_capturedIn;  // empty: not since the settings were read
    std::set<std::string> m_chosen;      // parameters that a stored template does not set
    bool m_isTemplateTraceChosen = false;

    // The file that a run has made in the place of the recording, for which what it found holds, too.
    struct OwnResult {
        std::filesystem::path path;
        int traces = 0;
    };
    std::optional<OwnResult> m_ownResult;

    // Of the last run.
    struct Found {
        int trace = 0, channel = 0;
        PatternFound pattern;
    };
    std::vector<Found> m_found;
    // Its measures, for other thresholds, with all on which they depend but those.
    struct Kept {
        std::shared_ptr<const KeptMeasures> measures;
        TemplateSearch search;
        SampleSpan region;
        int trace = 0;
        std::optional<ErrorHistogram> histogram;
    };
    std::optional<Kept> m_kept;
};

}  // namespace kymora
