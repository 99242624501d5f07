#pragma once
// What a search shows of itself: its measure and the fitted template as traces of the recording, and a
// recording of the matches alone.

#include <filesystem>
#include <functional>
#include <memory>

#include "document/data_doc.h"
#include "operations/write_recording.h"
#include "templates/pattern_job.h"

namespace kymora {

// The goodness-of-fit of each sample of a trace: 100 / error, 0 where the error is 0, or the criterion. Of
// several steps that fall on one sample it is that of the best. Samples without a step have 0. The values
// stand in a scratch file.
class GoodnessTrace {
  public:
    GoodnessTrace(CDataDoc& doc, int trace, const TemplateSearch& search,
                  const std::filesystem::path& folder);
    ~GoodnessTrace();
    void Take(const MeasuredSteps& steps);
    // The values of stored samples of the trace from `first` on, once all steps were taken.
    void Read(int64_t first, std::span<float> to);

  private:
    void Put(int64_t sample);
    void Flush();

    CDataDoc& doc_;
    int trace_;
    TemplateType type_;
    int multiplier_;
    std::unique_ptr<DataFile> file_;
    int64_t sample_ = -1;  // whose steps are being taken
    float best_ = 0.0f;
    std::vector<float> row_;  // of neighbouring samples, from the one at rowStart_ on
    int64_t rowStart_ = 0;
};

// The template as it was fitted to each match, 0 elsewhere; of samples from `first` on, which neighbour each
// other.
void FillFitted(std::span<const TemplateMatch> matches, std::span<const TemplateFit> fits,
                const TemplateSearch& search, int64_t first, std::span<float> to);

// A trace that stands behind all others, with the gaps of one of them.
struct AddedTrace {
    std::string label, units;
    int source = 0;                          // whose gaps it has, from 0
    double axisBottom = 0.0, axisTop = 0.0;  // equal: as the values need
    // Fills in the values of stored samples of the source from `stored` on, which are neighbours and begin
    // at sample `first`.
    std::function<void(int64_t stored, int64_t first, std::span<float> to)> fill;
};
// The recording as it is in memory with more traces. Throws FileError and Cancelled.
WrittenRecording WriteWithTraces(CArchive& archive, CDataDoc& doc, std::span<const AddedTrace> added);

// The samples of the matches, end to end, with an event for each. Throws FileError and Cancelled.
void WriteMatches(CDataDoc& doc, const EventJob::Found& found, const std::string& report,
                  const std::filesystem::path& path);

}  // namespace kymora
