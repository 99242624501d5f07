#include "document/form_choices.h"

namespace kymora {

std::vector<std::string> TraceChoices(const CDataDoc& doc) {
    std::vector<std::string> names;
    for (int t = 0; t < doc.traceCount; ++t) {
        const std::string& label = doc.traces[static_cast<size_t>(t)].traceLabel;
        names.push_back(std::to_string(t + 1) + (label.empty() ? "" : ": " + label));
    }
    return names;
}

std::vector<std::string> ChannelChoices(const Session& session) {
    std::vector<std::string> names;
    for (int channel = 0; channel < session.options.eventChannelMode; ++channel)
        names.push_back(ChannelListName(channel));
    return names;
}

}  // namespace kymora
