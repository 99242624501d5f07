#pragma once
// The parameters of transforms: CTransformDlg for what acts on the whole recording, CTransformTraceDlg for
// what acts on chosen traces by a kernel, CTransformTraceWindowDlg for kernels with a window.
//
// A transform changes no open recording. It writes a new native file, by the engine for chosen traces
// (CDataTransform) or the one for whole recordings (RecordingRewriter), which takes the place of the source,
// or has a name of its own (CTransformDlg::WriteFile).

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "operations/write_recording.h"
#include "transforms/preview_host.h"
#include "transforms/transform_run.h"

namespace kymora {

inline constexpr const char* tooManyTracesText =
    "Cannot handle more than 128 traces: process in stages or replace not add traces";

// Without the digits that a product of decimal fractions leaves at its end: 0.6 for 12 x 0.05.
double TidyNumber(double value);
// Samples that are infinite or not a number.
int64_t CountNotFinite(std::span<const float> values);

class CTransformDlg : public CBatchBaseDlg {
  public:
    // The short name becomes part of the label of what is made: "Smooth".
    explicit CTransformDlg(std::string name) : m_strName(std::move(name)) {}

    const char* ActionLabel() const override { return "OK"; }
    Affects WhatItAffects() const override { return Affects::traces; }
    // The transform of the recording as it is in memory. Where the target is the recording's own file, the
    // document goes on reading the old one; it is to be closed.
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    // What a window asks before it has it done, whose answer no leaves all as it is; empty for nothing.
    virtual std::string QuestionBefore() const { return {}; }
    void Serialize(CArchive& archive) override;
    // "Source file: .." where a new file is written.
    void GetParamText(std::string& text) override;

    // A comment with the text behind it that is to be appended.
    std::string CommentBehind(const std::string& comment) const;
    // Tells how many samples of each trace of the result, of `total(trace)`, are infinite or not a number.
    // Such a sample can spread over all that follow it, and nothing in a view tells.
    void TellNotFinite(const std::map<int, int64_t>& counts, const std::function<int64_t(int)>& total);

    std::string m_strName;
    std::string m_strComment;     // appended to the file's comment
    bool m_bNewFile = false;      // the result is a new file; the source stays
    bool m_bBatch = false;        // OK asks for files and treats them all; no settings keep it
    bool m_bAllowNewFile = true;  // m_bNewFile may be chosen

  protected:
    using Written = WrittenRecording;
    // Writes the result as a native file. `target` is where it will stand; scratch files go beside it. Where
    // it is not done, what was written is of no use, and the user was told but for what the note says. Throws
    // FileError and Cancelled.
    virtual Written WriteRecording(CArchive& archive, const std::filesystem::path& target) = 0;
    // The group of what becomes of the file: comment, its button "Ap param", "Write new file".
    void DescribeOutput(ParamList& list);
};

class CTransformTraceDlg : public CTransformDlg, public CPreviewHost {
  public:
    using CTransformDlg::CTransformDlg;

    enum AddMode { replaceTraces = 0, addTraces = 1 };

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    // A flag for each of 128 traces. Throws ListError with the words for the user.
    std::array<uint8_t, maxTraces> TraceFlags(int traceCount) const;

    // --- the kernel ---
    // Treats a run in memory. `output` has the length of `input` and is another array; what it holds after a
    // failure is of no use. Throws FileError, Cancelled or std::runtime_error.
    virtual KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                         std::span<float> output) = 0;
    // The same for runs that are too long for that: reads the run from its beginning, as often as it needs,
    // and writes run.count results. Reading the recording again each time is dear; a second pass over own
    // results goes through run.scratch.
    virtual KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                         FloatSink& output) = 0;
    // False: gaps are left out and episodes joined, and each trace is one run.
    virtual bool SplitsRuns() const { return true; }
    // True: the kernel shows its own progress, and the engine's is away meanwhile.
    virtual bool HasOwnProgress() const { return false; }

    // --- what the result is called ---
    // The label of the result. In Add mode `label` is that of the new trace, which has got " *" already.
    virtual std::string ResultLabel(const std::string& label) const;
    // The units of the result, and whether its axis is to be fitted anew since the values are others.
    std::string ResultUnits(const std::string& units) const override { return units; }
    virtual bool ChangesScale() const { return false; }
    // What was measured of the events in a replaced trace holds for the result, too.
    virtual bool KeepsMeasures() const { return false; }

    // Fills `data.transformed` from the samples of the recording. Sets m_bInPreview meanwhile. Nothing is
    // asked, told or logged; why there is no result stands in `data.message`.
    void OnNeedData(PreviewData& data) override;
    // The record that does the transform again, whatever a view shows then.
    virtual std::vector<std::byte> StepSettings() { return Settings(); }
    // The first trace of the list, from 0; trace 0 while the list is none.
    int PreviewTrace() const override;
    bool m_bInPreview = false;

    std::string m_strTraceList = "1";
    int32_t m_nAddMode = addTraces;

  protected:
    Written WriteRecording(CArchive& archive, const std::filesystem::path& target) override;
    // The group of the traces to process and the mode. A class describes this, then its own, then
    // DescribeOutput.
    void DescribeTraces(ParamList& list);
    // The mode alone.
    void DescribeAddMode(ParamList& list);
    // The trace list and the limit of traces. A class first asks its base.
    std::string CheckSettings() override;
};

class CTransformTraceWindowDlg : public CTransformTraceDlg {
  public:
    using CTransformTraceDlg::CTransformTraceDlg;

    // Captures the sample interval; the samples follow the time.
    void CheckChangeDoc(CDataDoc* doc) override;
    // A window of at least a sample.
    void SuggestSettings() override;
    void Serialize(CArchive& archive) override;

    // Samples of the half window at a sample interval, from the time.
    int64_t HalfWindowSamples(double interval) const;

    int32_t m_nHalfWindow = 1;       // samples
    double m_dHalfWindowTime = 1.0;  // ms; this is what counts, unless it is 0 and there are samples
    int32_t m_nIterations = 1;       // 1 to 10
    double m_dSampleInterval = 1.0;  // ms, of the recording when the dialog took it up

  protected:
    // The two linked parameters halfWindow and halfWindowTime.
    void DescribeHalfWindow(ParamList& list, std::function<bool()> isEnabled = {});
    // The time for reports; in settings that know no sample interval, the samples.
    std::string HalfWindowText() const;
    // Why the half window of a time greater than 0 has no sample at the interval of the recording: nothing
    // would happen, though it was asked for. Empty where it has, and where 0 was asked for.
    std::string EmptyWindowFault() const;
    // "iterations" from `least` to 10.
    Field& DescribeIterations(ParamList& list, int least);

  private:
    // They were set without a recording, whose sample interval would make a time of them.
    bool CountsSamples() const { return m_dHalfWindowTime == 0.0 && m_nHalfWindow > 0; }
    void FollowTime();
};

}  // namespace kymora
