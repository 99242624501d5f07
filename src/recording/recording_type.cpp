#include "recording/recording_type.h"

namespace kymora {

std::string_view RecordingTypeName(RecordingType type) {
    switch (type) {
    case RecordingType::microphone:
        return "Microphone: General Purpose";
    case RecordingType::board:
        return "DataTranslation: General Purpose";
    case RecordingType::refractoryManual:
        return "DataTranslation: Refractory protocol: Auto search";
    case RecordingType::refractoryAutomatic:
        return "DataTranslation: Refractory protocol: Manual search";
    case RecordingType::arduino:
        break;
    }
    return {};
}

}  // namespace kymora
