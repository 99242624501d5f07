#pragma once
// Writes a recording anew with some traces changed by functions of place and value: what fits that take their
// curve out of the data hand to the engine of transforms.

#include <functional>
#include <map>

#include "transforms/transform_dlg.h"

namespace kymora {

class TraceChange : public CTransformTraceDlg {
  public:
    // Changes samples of a run that begins at position `start` of the recording.
    using Change = std::function<void(int64_t start, std::span<const float> from, std::span<float> to,
                                      std::mt19937& random)>;

    // Speaks as the operation of which it is a part, whose record is noted with the history.
    TraceChange(CBatchBaseDlg& owner, std::string name, std::vector<std::byte> record);

    const char* ClassName() const override { return owner_.ClassName(); }
    const char* Title() const override { return owner_.Title(); }
    void GetParamText(std::string& text) override { text += report; }
    std::vector<std::byte> StepSettings() override { return record_; }
    bool ChangesScale() const override { return true; }
    std::string ResultLabel(const std::string& label) const override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    WrittenRecording Write(CArchive& archive, const std::filesystem::path& target);

    std::map<int, Change> changes;  // by trace, from 0
    std::string report;             // of the history
    std::string emptyLabel;         // of a result whose source has none

  private:
    CBatchBaseDlg& owner_;
    std::vector<std::byte> record_;
};

}  // namespace kymora
