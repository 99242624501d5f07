#pragma once
// The engine of transforms: writes a recording anew, trace by trace, with chosen traces treated by a kernel
// one run of samples at a time. A run never spans a gap or the boundary of an episode, unless the transform
// wants them joined. The recording itself is only read, and never loaded whole: runs of up to 5,000,000
// samples are treated in memory, longer ones stream.

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "document/float_doc.h"
#include "document/trace_stretches.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CDataTransform {
  public:
    // Scratch files of kernels stand in `scratchFolder`.
    CDataTransform(CDataDoc& doc, std::filesystem::path scratchFolder);
    ~CDataTransform();

    // Writes the transformed recording as a native file: the chosen traces replaced, or each followed by its
    // result with all that belongs to traces moved up. Labels, comment and history tell what was done. False
    // when a kernel refused; what was written is then of no use. What there is to say has been told, but for
    // the reason of a silent failure, which FailureNote has. Throws FileError and Cancelled.
    bool ApplyTraceTransform(CArchive& archive, CTransformTraceDlg& dialog);
    const std::string& FailureNote() const { return failureNote_; }
    // The history that was written, and the steps that belong to it.
    const std::string& History() const { return history_; }
    const HistorySteps& Steps() const { return steps_; }

  private:
    class Meter;
    using Flags = std::array<uint8_t, maxTraces>;

    bool WriteTraces(CArchive& archive, const Flags& flags, CTransformTraceDlg& dialog);
    bool TransformTrace(CArchive& archive, int trace, CTransformTraceDlg& dialog);
    bool TransformStretches(CArchive& archive, int trace, std::vector<TraceStretch> stretches,
                            CTransformTraceDlg& dialog);
    bool IsAccepted(const KernelOutcome& outcome, const TransformRun& run, CTransformTraceDlg& dialog);
    void CopyTrace(CArchive& archive, int trace);
    void NameResults(CFloatDoc& result, const Flags& flags, const CTransformTraceDlg& dialog) const;

    CDataDoc& doc_;
    std::filesystem::path scratchFolder_;
    std::unique_ptr<Meter> meter_;
    std::string failureNote_;
    std::string history_;
    HistorySteps steps_;
    std::map<int, int64_t> notFinite_;  // results that are no finite numbers, by trace
};

}  // namespace kymora
