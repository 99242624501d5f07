#pragma once
// Recordings with copies of a waveform at known places, and operations that are set by their keys.

#include <cmath>
#include <map>
#include <random>
#include <string>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "import/open_document.h"
#include "operations/config_file.h"
#include "support/session_fixture.h"
#include "templates/pattern_recognition.h"

namespace kymora::test {

using Samples = std::vector<float>;

struct TemplateTest : SessionTest {
    // A biphasic wave of 21 samples: no constant.
    static Samples Wave(float height = 1.0f) {
        Samples wave(21);
        for (size_t i = 0; i < wave.size(); ++i)
            wave[i] = height * static_cast<float>(std::sin(0.3 * static_cast<double>(i)) *
                                                  std::exp(-0.1 * static_cast<double>(i)));
        return wave;
    }
    static void Put(Samples& to, size_t at, const Samples& wave) {
        for (size_t i = 0; i < wave.size(); ++i) to[at + i] += wave[i];
    }
    // Noise that is small beside a wave of height 1.
    static Samples Noise(size_t length, unsigned seed = 1) {
        std::mt19937 random(seed);
        std::normal_distribution<float> normal(0.0f, 0.01f);
        Samples x(length);
        for (float& v : x) v = normal(random);
        return x;
    }
    std::unique_ptr<MemoryDoc> Named(std::vector<Samples> traces, double interval = 0.5) {
        auto doc = MemoryDoc::Make(session, std::move(traces), interval);
        doc->filePath = "cell.kymr-dat";
        return doc;
    }
    static void Set(CBatchBaseDlg& block, const std::map<std::string, std::string>& settings) {
        for (const auto& [key, value] : settings) {
            ParamList params = block.Params();
            Field* field = params.Find(key);
            ASSERT_NE(field, nullptr) << key;
            ASSERT_EQ(field->SetFromText(value), "") << key;
        }
    }
    static std::vector<int32_t> Onsets(const CDataDoc& doc, int channel) {
        std::vector<int32_t> onsets;
        for (const CEventKM& event : doc.eventChannels[static_cast<size_t>(channel)].Events())
            onsets.push_back(event.onPosition);
        return onsets;
    }
    std::string Refusal(CBatchBaseDlg& block) {
        RunMessages messages;
        block.SendMessagesTo(&messages);
        const bool done = block.Run();
        block.SendMessagesTo(nullptr);
        if (done) return "done";
        return messages.empty() ? "" : messages.back().text;
    }
};

}  // namespace kymora::test
