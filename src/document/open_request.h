#pragma once
// How a recording is to be opened, as a value, and what came of it.

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

namespace kymora {

class CDataDoc;
class Session;

enum class OpenFor {
    editing,  // takes the file for itself, so that a second program or document gets it read-only
    reading,  // never locks and never writes, whatever it finds
};

// How much is said while a file opens; each says less than the one before.
enum class OpenTalk {
    asks,   // shows the details of the file and asks for what it does not tell itself
    shows,  // shows the details; what would be asked takes its default
    tells,  // tells only what is unusual
    logs,   // writes that to the log, for a batch
};

// What the details dialogs of foreign formats would have asked: KEY to VALUE of --import.
using ImportSettings = std::map<std::string, std::string>;

struct OpenRequest {
    // Most files open for a purpose and with nothing else said.
    OpenRequest(OpenFor wanted = OpenFor::editing, OpenTalk talk = OpenTalk::tells,
                ImportSettings settings = {})
        : purpose(wanted), talk(talk), settings(std::move(settings)) {}

    OpenFor purpose;
    OpenTalk talk;
    ImportSettings settings;
    bool fileAlone = false;    // without the side-car
    bool callerTells = false;  // why the file does not open, which else the user is told at once
};

// One opening: the request, and what comes back beside the document.
struct Opening {
    OpenRequest request{};
    std::string fault{};                   // why the file did not open; empty where the user declined it
    std::set<std::string> settingsUsed{};  // keys that the reader looked at
    std::string settingRefused{};          // the key of the one for which the file did not open

    bool Asks() const { return request.talk == OpenTalk::asks; }
    // The value of an import setting, or null; notes that it was looked at.
    const std::string* Setting(const std::string& key);
};

// How the same recording opens again without a question, in any session and any thread.
struct Reopening {
    ImportSettings settings;
    // Makes a document of the same samples in place of opening the file: from documents that hold them in
    // memory. Empty from all others.
    std::function<std::unique_ptr<CDataDoc>(Session&)> twin{};
};

// Why a file does not open; what() is for the user.
class OpenError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// An import setting is why.
class ImportSettingError : public OpenError {
  public:
    ImportSettingError(std::string key, const std::string& text) : OpenError(text), key(std::move(key)) {}
    // `takes` ends the sentence "It takes ...".
    ImportSettingError(const std::string& key, const std::string& value, const std::string& takes);
    std::string key;
};

// The user does not want the file.
class OpenDeclined {};

}  // namespace kymora
