#pragma once
// The names of what the clipboard holds beside text. On platforms that exchange data by MIME types the name
// is the type.

#include <stdexcept>

namespace kymora {

// Event channels with their events.
inline constexpr const char* eventChansFormat = "KMClipboardEventChans";
// Text in UTF-8.
inline constexpr const char* plainTextFormat = "text/plain";
// A whole native file, which other programs of the house put there.
inline constexpr const char* recordingFormat = "NetlumenForKymoraClipboard";

// The clipboard does not give or take what was asked; what() is a sentence for the user.
class ClipboardError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr const char* clipboardBusyText = "Unable to open the clipboard";
inline constexpr const char* clipboardNotAttachedText = "Couldn't attach clipboard";
inline constexpr const char* clipboardNoDataText = "COleDataObject::GetData failed in Paste operation";
inline constexpr const char* clipboardOddFormatText = "Unrecognised format in Paste operation";
inline constexpr const char* clipboardNoTextText = "No data in text format available on clipboard";

}  // namespace kymora
