#pragma once
// Runs the kernel of a transform dialog on a run of samples, in both forms, as the engine does.

#include "kernels/smooth_fixture.h"
#include "support/session_fixture.h"
#include "transforms/transform_dlg.h"

namespace kymora::test {

class DialogTest : public SessionTest {
  protected:
    void SetUp() override { SetDoc({NoiseRun(1000)}); }
    void SetDoc(std::vector<std::vector<float>> samples, double interval = 0.5) {
        doc = MemoryDoc::Make(session, std::move(samples), interval);
    }

    // A run of trace 0 from its beginning.
    TransformRun RunOf(int64_t count) { return {*doc, 0, 0, count, {}, session.random, host, room, goOn}; }
    Smoothed Memory(CTransformTraceDlg& dialog, const std::vector<float>& samples) {
        const TransformRun run = RunOf(static_cast<int64_t>(samples.size()));
        return InMemory(samples,
                        [&](auto input, auto output) { return dialog.TransformBlock(run, input, output); });
    }
    Smoothed Stream(CTransformTraceDlg& dialog, const std::vector<float>& samples) {
        const TransformRun run = RunOf(static_cast<int64_t>(samples.size()));
        Smoothed result;
        VectorSink sink;
        const SourceMaker source = [&] { return std::make_unique<VectorSource>(samples); };
        result.outcome = dialog.TransformBlock(run, source, sink);
        result.values = sink.samples;
        return result;
    }

    // Sets parameters as --set does.
    void Set(CBatchBaseDlg& dialog, const std::vector<std::pair<const char*, const char*>>& settings) {
        for (const auto& [key, value] : settings) {
            ParamList params = dialog.Params();
            ASSERT_NE(params.Find(key), nullptr) << key;
            ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
        }
    }
    // The keys of the parameters that can be used, of those named.
    std::string Enabled(CBatchBaseDlg& dialog, const std::vector<const char*>& keys) {
        std::string enabled;
        ParamList params = dialog.Params();
        for (const char* key : keys)
            if (params.Find(key)->IsEnabled(params)) enabled += std::string(enabled.empty() ? "" : " ") + key;
        return enabled;
    }
    static std::string Report(CBatchBaseDlg& dialog) {
        std::string text;
        dialog.GetParamText(text);
        return text;
    }

    std::unique_ptr<MemoryDoc> doc;
    CountingRoom room;
    KernelPoll goOn;
};

}  // namespace kymora::test
