#pragma once
// The samples of a text file in memory.

#include <memory>
#include <string>
#include <vector>

#include "import/sample_blocks.h"
#include "import/text_rows.h"

namespace kymora {

// Nothing changes once the samples are read: documents on several threads may share them.
class TextSamples {
  public:
    int Traces() const { return traces_; }
    int64_t Length() const { return length_; }
    void Read(int trace, int64_t from, std::span<float> to) const;

  private:
    friend class TextSampleReader;
    std::vector<SampleBlocks> tables_;  // one of all traces, or one of each
    int traces_ = 0;
    int64_t length_ = 0;
};

// Takes the rows of a file as samples of all traces, or as traces.
class TextSampleReader : public RowSink {
  public:
    enum class Problem { none, noTraces, tooManyTraces, raggedRow, tooLong };

    TextSampleReader(const RowFormat& format, bool dataInColumns);

    bool TakeValues(int64_t row, std::span<const double> values, bool endsRow) override;
    bool TakeLine(int64_t row, std::string_view line) override;
    bool TakeLabel(std::string_view label) override;

    // What is wrong with the table when all was taken, and its number: of the traces, or of the row.
    Problem Check();
    int64_t ProblemNumber() const { return problemNumber_; }
    // What was read, when there is no problem.
    std::shared_ptr<const TextSamples> Samples() const { return samples_; }
    // The rows of the top.
    const std::string& Comment() const { return comment_; }
    // A label for each trace, or none where they are not as many.
    std::vector<std::string> Labels() const;

  private:
    bool TakeSampleRow(int64_t row, std::span<const double> values, bool endsRow);
    bool TakeTraceRow(int64_t row, std::span<const double> values, bool endsRow);
    bool Fail(Problem problem, int64_t number);

    RowFormat format_;
    bool dataInColumns_;
    std::shared_ptr<TextSamples> samples_;
    int64_t rowsTaken_ = 0;
    int64_t valuesInRow_ = 0;
    Problem problem_ = Problem::none;
    int64_t problemNumber_ = 0;
    std::string comment_;
    std::string labelLine_;
    std::vector<std::string> labelColumn_;
};

}  // namespace kymora
