#pragma once
// Recordings that live in memory or come from a function, for tests and benchmarks.

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "document/data_doc.h"

namespace kymora::test {

class MemoryDoc : public CDataDoc {
  public:
    // The stored sample `index` (gaps not counted) of a trace.
    using Generator = std::function<float(int trace, int64_t index)>;

    explicit MemoryDoc(Session& session) : CDataDoc(session) {}

    // Gap-free traces of one length.
    static std::unique_ptr<MemoryDoc> Make(Session& session, std::vector<std::vector<float>> samples,
                                           double sampleInterval = 1.0) {
        std::vector<std::vector<uint32_t>> runs;
        for (const auto& trace : samples) runs.push_back({static_cast<uint32_t>(trace.size())});
        return MakeWithRuns(session, std::move(samples), std::move(runs), sampleInterval);
    }

    // Each trace with its stored samples and its own run list.
    static std::unique_ptr<MemoryDoc> MakeWithRuns(Session& session, std::vector<std::vector<float>> stored,
                                                   std::vector<std::vector<uint32_t>> runs,
                                                   double sampleInterval = 1.0) {
        auto doc = std::make_unique<MemoryDoc>(session);
        doc->stored_ = std::move(stored);
        doc->Describe(static_cast<int>(runs.size()), sampleInterval);
        for (size_t t = 0; t < runs.size(); ++t) doc->validRuns[t] = RunList(runs[t]);
        doc->Finish();
        return doc;
    }

    // A gap-free recording of any length whose samples are made when they are read.
    static std::unique_ptr<MemoryDoc> Generate(Session& session, int traceCount, int64_t length,
                                               Generator generator, double sampleInterval = 1.0) {
        auto doc = std::make_unique<MemoryDoc>(session);
        doc->generator_ = std::move(generator);
        doc->Describe(traceCount, sampleInterval);
        for (int t = 0; t < traceCount; ++t)
            doc->validRuns[static_cast<size_t>(t)] = RunList({static_cast<uint32_t>(length)});
        doc->Finish();
        return doc;
    }

    // A recording of events only: it has a length but no samples.
    static std::unique_ptr<MemoryDoc> MakeEmpty(Session& session, uint32_t length,
                                                double sampleInterval = 1.0) {
        return MakeWithRuns(session, {{}}, {{0, length}}, sampleInterval);
    }

    Reopening ToReopen() const override {
        std::vector<RunList> runs(validRuns.begin(), validRuns.begin() + traceCount);
        Reopening reopening;
        reopening.twin = [stored = stored_, generator = generator_, runs,
                          interval = sampleInterval](Session& its) {
            auto twin = std::make_unique<MemoryDoc>(its);
            twin->stored_ = stored;
            twin->generator_ = generator;
            twin->Describe(static_cast<int>(runs.size()), interval);
            std::copy(runs.begin(), runs.end(), twin->validRuns.begin());
            twin->Finish();
            return twin;
        };
        return reopening;
    }

    int readCalls = 0;        // how often stored samples were read
    int64_t samplesRead = 0;  // of all traces
    bool saveSucceeds = true;
    int saveCalls = 0;

    SaveOutcome Save() override {
        ++saveCalls;
        if (saveSucceeds) SetModifiedFlag(false);
        return saveSucceeds ? SaveOutcome::saved : SaveOutcome::failed;
    }

  protected:
    void Load() override {}

    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override {
        ++readCalls;
        for (const StoredRead& piece : pieces) {
            samplesRead += static_cast<int64_t>(piece.values.size());
            for (size_t i = 0; i < piece.values.size(); ++i)
                piece.values[i] = Stored(piece.trace, storedIndex + static_cast<int64_t>(i));
        }
    }

  private:
    void Describe(int count, double interval) {
        ResetModel();
        traceCount = count;
        sampleInterval = interval;
    }
    void Finish() {
        UpdateGapFlags();
        AllocateBuffers();
    }
    float Stored(int trace, int64_t index) const {
        return generator_ ? generator_(trace, index)
                          : stored_.at(static_cast<size_t>(trace)).at(static_cast<size_t>(index));
    }

    std::vector<std::vector<float>> stored_;
    Generator generator_;
};

}  // namespace kymora::test
