#include "demo/demo_recordings.h"

#include "document/native_writer.h"

namespace kymora {

std::span<const DemoRecording> DemoRecordings() {
    static constexpr DemoRecording recordings[] = {
        {"demo_spikes.kymr-dat", MakeDemoSpikes},
        {"demo_gaps.kymr-dat", MakeDemoGaps},
        {"demo_episodic.kymr-dat", MakeDemoEpisodic},
    };
    return recordings;
}

void WriteDemoRecording(Session& session, const DemoRecording& recording, const std::filesystem::path& path) {
    const std::unique_ptr<GeneratedDoc> doc = recording.make(session);
    WriteNativeFile(*doc, path);
}

}  // namespace kymora
