#pragma once
// How a raw binary file is to be read, which it does not say itself: import settings, the dialog "Binary File
// Properties", and the defaults of the session.

#include <string>

#include "document/binary_samples.h"
#include "document/open_request.h"
#include "host/form.h"

namespace kymora {

inline constexpr double leastBinaryInterval = 1e-8;  // ms
inline constexpr double greatestBinaryInterval = 1e10;

struct BinaryFormat {
    BinaryLayout layout;
    double interval = 1.0;  // ms
};

// Import settings "binaryTraces" (or "traces"), "binaryInterval" (or "sampleInterval") and "binaryType", as a
// number, its words or its short name. Where both names are given, the longer one counts.
class CBinaryFormat {
  public:
    // Starts with the defaults of the session. Throws ImportSettingError.
    CBinaryFormat(Session& session, Opening& opening);

    const BinaryFormat& Format() const { return format_; }
    // Whether the import settings or a default that the user made leave nothing to ask.
    bool IsSettled() const;
    // Whether nobody has said anything about the format.
    bool IsGuess() const {
        return !session_.binaryFile.binaryUseDefault && !tracesGiven_ && !intervalGiven_ && !typeGiven_;
    }
    // Shows the dialog for a file; what it answers becomes the default of the session. What import settings
    // say stands and cannot be changed. False when the user cancels.
    bool Ask(const DataFile& file, const std::string& name);

  private:
    friend bool SetBinaryDefaults(Session& session);
    CBinaryFormat(Session& session, const BinaryFileDefaults& defaults);
    bool Show(Form& form);
    void AddFormat(Form& form) const;
    void AddMakeDefault(Form& form) const;
    BinaryFormat FormatOf(const Form& form) const;
    void ShowRows(Form& form, const DataFile& file) const;

    Session& session_;
    BinaryFormat format_;
    bool tracesGiven_ = false, intervalGiven_ = false, typeGiven_ = false;
};

// The same dialog without a file: the command "Set binary defaults". False when the user cancels.
bool SetBinaryDefaults(Session& session);

}  // namespace kymora
