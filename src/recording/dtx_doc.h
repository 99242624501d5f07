#pragma once
// The older recordings of a board (.dtx), which are only read: u16 file version, u32 type, time, f32 range
// high and low, u32 encoding, i32 resolution, f64 duration in ms, i32 sample count, f64 interval in ms,
// sixteen f64 gains, and the samples, of all channels side by side. The words "guard string" may stand before
// them or behind. How many channels there are is not told; it follows from the count and the duration, where
// the count is that of all channels together, and else from the length of the samples.

#include "recording/recording_samples.h"

namespace kymora {

class CAcqDocDTX : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    int GetFileType() const override { return typeDtx; }

  protected:
    // The head and the place of the samples. Throws OpenError and ArchiveError.
    void LoadHead();
    void FillModel();
    void Load() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    uint64_t PassGuard(uint64_t at) const;
    uint64_t SamplesEnd(uint64_t channelBytes) const;
    void CountChannels(double durationMs, int64_t statedSamples);

    RecordingHeader header_;
    int64_t scans_ = 0;
    std::unique_ptr<RecordingSamples> samples_;
};

class CDtxDoc : public CAcqDocDTX {
  public:
    using CAcqDocDTX::CAcqDocDTX;

  protected:
    void Load() override;
};

}  // namespace kymora
