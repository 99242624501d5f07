#pragma once
// Reads samples of an EDF file in physical units. The document's rate is the common multiple of its signals'
// rates; a slower signal is drawn out by linear interpolation.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "document/data_doc.h"
#include "host/file_system.h"
#include "import/edf_header.h"

namespace kymora {

// A signal, and where its samples go; all pieces of a read have one length.
struct EdfPiece {
    const EdfSignal* signal = nullptr;
    float* to = nullptr;
};

// A signal, the divisor of its values, and where the lowest and highest of each slot go.
struct EdfFold {
    const EdfSignal* signal = nullptr;
    double gain = 1.0;
    std::span<float> low, high;
};

class EdfSampleReader {
  public:
    virtual ~EdfSampleReader() = default;

    // Reads `count` document samples from `from` on, gaps not counted, all of them before `endRecord`, which
    // ends a run of records without a gap: the last sample before it has no right-hand partner. What the file
    // does not hold becomes 0. Throws FileError.
    virtual void Read(int64_t from, int64_t count, int64_t endRecord, std::span<const EdfPiece> pieces) = 0;

    // Widens slots of `slotLength` samples by the extremes of what Read would give for the same samples,
    // divided by the gains; the first lies `into` samples behind the start of slot 0. At the document's rate
    // the stored numbers are compared and only the extremes converted, which is right because the
    // conversion rises or falls throughout (EdfFoldIsExact).
    virtual void Fold(int64_t from, int64_t count, int64_t endRecord, int64_t into, int64_t slotLength,
                      std::span<const EdfFold> folds) = 0;

    // Widens by many stretches of a signal at the document's rate, in ascending order. Those that lie close
    // together are read in one piece.
    virtual void FoldStretches(const EdfSignal& signal, double gain,
                               std::span<const FoldStretch> stretches) = 0;
};

// `samplesPerRecord` are the document's. File and header must outlive the reader.
std::unique_ptr<EdfSampleReader> MakeEdfSampleReader(const DataFile& file, const EdfHeader& header,
                                                     int64_t samplesPerRecord);

// Stored numbers as they stand in memory: int16_t of EDF files; int32_t of BDF files, whose three bytes are
// widened as they are read.
template <typename Number>
class EdfNumbersReader : public EdfSampleReader {
  public:
    EdfNumbersReader(const DataFile& file, const EdfHeader& header, int64_t samplesPerRecord)
        : file_(file), header_(header), samplesPerRecord_(samplesPerRecord) {}

    void Read(int64_t from, int64_t count, int64_t endRecord, std::span<const EdfPiece> pieces) override;
    void Fold(int64_t from, int64_t count, int64_t endRecord, int64_t into, int64_t slotLength,
              std::span<const EdfFold> folds) override;
    void FoldStretches(const EdfSignal& signal, double gain, std::span<const FoldStretch> stretches) override;

  private:
    static constexpr int64_t numberBytes = sizeof(Number) == 2 ? 2 : 3;  // in the file

    struct Range {
        int64_t from = 0;
        int64_t count = 0;
    };

    void ReadNumbers(int64_t offset, std::span<Number> to);
    bool SlicesAreCheaper(Range range, std::span<const EdfPiece> pieces) const;
    void ReadRecords(Range range, int64_t endRecord, std::span<const EdfPiece> pieces);
    void TakeFromRecords(Range part, int64_t endRecord, const EdfPiece& piece, int64_t offset);
    void ReadSlices(Range range, int64_t endRecord, const EdfPiece& piece);
    void LoadRecords(int64_t first, int64_t count);
    template <typename Fetch>
    int64_t Gather(const EdfSignal& signal, int64_t source, int64_t count, Fetch fetch);
    void Interpolate(Range part, int64_t endRecord, const EdfSignal& signal, int64_t available, float* to);
    Range SourceOf(Range part, int64_t endRecord, const EdfSignal& signal) const;

    // edf_folds.cpp
    void LoadSlice(const EdfSignal& signal, int64_t from, int64_t count);
    void FoldStretchesAlone(const EdfSignal& signal, double gain, std::span<const FoldStretch> stretches);
    void FoldAlone(int64_t from, int64_t count, int64_t endRecord, int64_t into, int64_t slotLength,
                   std::span<const EdfFold> folds);
    void FoldSlices(Range range, int64_t into, int64_t slotLength, std::span<const EdfFold> folds);
    void FoldRecords(Range range, int64_t into, int64_t slotLength, std::span<const EdfFold> folds);
    void FoldSlower(Range range, int64_t endRecord, int64_t into, int64_t slotLength,
                    std::span<const EdfFold> folds);
    std::vector<std::vector<float>> drawnOut_;  // samples of slower signals

    const DataFile& file_;
    const EdfHeader& header_;
    int64_t samplesPerRecord_;
    std::vector<Number> records_;  // whole records
    int64_t firstRecord_ = 0;      // of them
    int64_t recordsHeld_ = 0;
    std::vector<Number> source_;  // consecutive samples of one signal
};

// The conversion of stored numbers. Single values would do; this form is what the compiler makes wide.
template <typename Number>
void ConvertEdfSamples(const Number* from, int64_t count, const EdfScale& scale, float* to);

// Whether the extremes of stored numbers give the extremes of the values: all values are finite, whatever the
// stored number.
bool EdfFoldIsExact(const EdfScale& scale);

// Writes `count` values of the line through `source`, `factor` values from one source sample to the next, the
// first at `phase`. Single precision up to the conversion.
template <typename Number>
void InterpolateEdfSamples(const Number* source, int64_t count, int32_t factor, int32_t phase,
                           const EdfScale& scale, float* to);

}  // namespace kymora
