#pragma once
// The base of the operations that show a histogram of events: parameters, run, texts, results and graph. An
// operation says what its values are (MakeInput); all else is here. It runs by itself whenever a setting
// changes, since it changes nothing of the recording.

#include <memory>
#include <optional>

#include "eventanalysis/event_anal_rgn_graph_base.h"
#include "histograms/histogram.h"

namespace kymora {

inline constexpr const char* noNumbersText = "Unable to read any numbers from the selected data source.";
inline constexpr const char* onlyTextFileText = "You can only drop a text file (.txt) onto this dialog.";
inline constexpr const char* unreadableFileText = "Unable to open dropped file.";

// Computes a histogram of values that were taken, or of samples that it reads.
class HistJob : public OperationJob {
  public:
    std::vector<HistPart> parts;  // at least one
    int columns = 1;              // in which several stand
    std::mt19937 random;
    // Of a trace: what is read before, on the thread of the job. Empty: nothing.
    std::function<void(SampleReader&, HistInput&, const Poll&)> read;
    int64_t work = 0;  // about how many samples' worth

    int64_t Samples() const override { return work; }
    void Compute(SampleReader& samples, JobContext& context) override;
};

class CHistBase : public CEventAnalRgnGraphBase {
  public:
    explicit CHistBase(unsigned uses) : CEventAnalRgnGraphBase(uses) {}

    void CheckChangeDoc(CDataDoc* doc) override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    bool TakesDrop(const std::filesystem::path& file) override;

    HistSettings m_hist;
    PsthSettings m_psth;
    std::string m_strFile;  // numbers from here in place of those of the recording; empty: the recording's

  protected:
    // What the values are. Null where there are none to be had: the user was told.
    virtual bool MakeInput(HistJob& job) = 0;
    HistPart& AddPart(HistJob& job) const { return job.parts.emplace_back(HistPart{{}, m_hist, m_psth, {}}); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    void DescribeFile(ParamList& list);
    // The buttons below the results.
    void DescribeSaving(ParamList& list);
    // Settings are also tried without a recording, where nobody is told.
    HistSettings::Words Words() {
        return [this](const char* text) {
            if (Document()) Tell(text);
        };
    }
    // Numbers of m_strFile. False where there are none: the user was told.
    bool TakeFile(HistJob& job);
    // The lines of the report that tell the histogram.
    void AppendHistText(std::string& text);

  private:
    void SaveText(const char* title, const char* name, const std::string& text);

    void KeepShown();

    // The numbers of the file that was read last, which is not read again while it is the same.
    struct ReadFile {
        std::string path;
        FileStamp stamp;
        std::shared_ptr<const std::vector<double>> numbers;
    };
    std::optional<ReadFile> m_read;

    // Outlines of histograms of this and other recordings, for comparison.
    std::vector<GraphLayer> m_kept;
    // Of the last run that was done; a refusal leaves the graph as it stood.
    std::vector<HistPart> m_shown;
    int m_columns = 1;
};

}  // namespace kymora
