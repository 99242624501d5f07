#pragma once
// Which settings of the view in front the next recording that opens takes over, in place of those that it
// brings itself.

#include <cstdint>
#include <string>

#include "document/data_doc.h"

namespace kymora {

class Host;

inline constexpr int retainedChoices = 28;

// Asks for the choices, kept as a bit for each (Options::retainedSettings). False when the user cancels.
class CRetainSettings {
  public:
    explicit CRetainSettings(uint32_t choices = 0) : m_choices(choices) {}
    bool Ask(Host& host);

    uint32_t m_choices;  // the first one in the lowest bit

    // Gives a recording that has just opened, before a view shows it, what is chosen of the one in front,
    // whose display settings are those of its view. What a trace or channel of one has no counterpart in the
    // other for stays, and so do channels that are locked. Marks nothing as changed.
    void Apply(const CDataDoc& front, const DisplaySettings& shown, CDataDoc& opened) const;
    // The size of the window, which only the frame can set.
    bool RetainsSize() const;
};

}  // namespace kymora
