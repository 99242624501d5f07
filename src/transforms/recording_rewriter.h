#pragma once
// The engine for whole recordings: writes one anew whose samples are others in number, interval or place,
// all traces at once. A plan says what becomes of them and where things lie then; the engine carries along
// what hangs on a recording: events with labels, tags and measures, markers, annotations, the stored view,
// the settings of traces and channels, comment, history and its steps. The recording itself is only read, and
// never loaded whole.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "document/float_doc.h"
#include "kernels/streams.h"

namespace kymora {

// Where the samples of the result go, trace by trace. It counts them, shows how far the work is and throws
// Cancelled when the user has had enough.
class RewriteSink : public FloatSink {
  public:
    // All stored samples of a trace of a recording, as they are.
    virtual void CopyTrace(CDataDoc& from, int trace) = 0;
    // So many samples of the source were read or passed over.
    virtual void GoOn(int64_t samples) = 0;
};

// What a recording becomes. Traces are as many as before, unless Complete says otherwise.
class RecordingPlan {
  public:
    virtual ~RecordingPlan() = default;

    virtual double SampleInterval() const = 0;  // ms, of the result
    virtual RunList Runs(int trace) const = 0;
    // Writes the valid samples of a trace of the result: as many as Runs says. Throws FileError.
    virtual void WriteSamples(int trace, RewriteSink& sink) = 0;

    // Puts an event where its samples are in the result. False leaves it out.
    virtual bool Place(CEventKM& event) const = 0;
    // The time that a marker or an annotation has in the result, ms; nothing leaves it out.
    virtual std::optional<double> TimeOf(double timeMs) const = 0;
    // The stored view, which is not left out.
    virtual double ViewTimeOf(double timeMs) const { return TimeOf(timeMs).value_or(timeMs); }
    // The last word on the model of the result before it is written: further traces, events or texts.
    virtual void Complete(CFloatDoc&) const {}
    // All samples that WriteSamples will read and write, for the progress.
    virtual int64_t Work(const CDataDoc& source, const CFloatDoc& result) const;
};

class RecordingRewriter {
  public:
    explicit RecordingRewriter(CDataDoc& doc) : doc_(doc) {}

    // Writes the recording as the plan has it, as a native file. The step, if there is one, gets its entry at
    // the end of the history. Throws FileError and Cancelled.
    void Write(CArchive& archive, RecordingPlan& plan, const std::string& comment,
               std::optional<HistoryStep> step = {});

    // Of what was written.
    const std::string& History() const { return history_; }
    const HistorySteps& Steps() const { return steps_; }
    int64_t StoredCount(int trace) const { return stored_.at(trace); }
    // Samples that were written, not copied, and are no finite numbers; by trace.
    const std::map<int, int64_t>& NotFinite() const { return notFinite_; }
    // Events that begin behind the last sample, which the source had not.
    int64_t EventsBehindEnd() const { return eventsBehindEnd_; }

  private:
    class Sink;

    void Carry(const RecordingPlan& plan, CFloatDoc& result);
    CEventChan Placed(const CEventChan& channel, const RecordingPlan& plan, CFloatDoc& result);
    void WriteTraces(CArchive& archive, RecordingPlan& plan, const CFloatDoc& result);

    CDataDoc& doc_;
    std::string history_;
    HistorySteps steps_;
    std::map<int, int64_t> stored_, notFinite_;
    int64_t eventsBehindEnd_ = 0;
};

}  // namespace kymora
