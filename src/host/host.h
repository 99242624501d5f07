#pragma once
// What the logic asks of its surroundings. The desktop, the terminal, a batch run and the tests each
// implement it; the core never asks whether there is a screen. All texts are UTF-8.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/clipboard.h"
#include "host/file_request.h"
#include "host/progress.h"

namespace kymora {

class Form;

class Host : public ProgressSource {
  public:
    static constexpr std::string_view usualTitle = "Kymora";

    // A message that the user must see.
    virtual void Message(std::string_view text, std::string_view title = usualTitle) = 0;

    // A message that is good to know, and tells of no trouble.
    virtual void Inform(std::string_view text) { Message(text); }

    // A message that what the user asked for was not done. A script takes it as a failure.
    virtual void Failure(std::string_view text) { Message(text); }

    // A question whose negative answer changes nothing; true for OK or Yes. The title may name what it is
    // about.
    virtual bool Confirm(std::string_view text, std::string_view title = usualTitle) = 0;

    // A notice with a do-not-show-again box, kept under `key` for the session. False when the user cancels,
    // which only a notice that offers Cancel can give.
    virtual bool Notice(std::string_view key, std::string_view title, std::string_view text) = 0;

    // The same with a way to decline: false then.
    virtual bool NoticeWithCancel(std::string_view key, std::string_view title, std::string_view text) {
        return Notice(key, title, text);
    }

    // The names of files to open; none when the user cancels or nobody can be asked.
    virtual std::vector<std::filesystem::path> ChooseOpenFiles(const FileRequest&) { return {}; }

    // The name for a new file, or nothing when the user cancels or nobody can be asked.
    virtual std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest& request) = 0;

    // Shows a dialog. True when it was accepted: its values are then those of the user and within their
    // limits. False leaves the form's values without meaning. A host without a person changes nothing.
    virtual bool AskForm(Form&) { return false; }

    // A dialog as it looks, as PNG; empty where there is no screen.
    virtual std::vector<std::byte> PictureOf(Form&) { return {}; }

    // Shows a text that may be long, to be read, searched and copied; where there is `json`, that can be
    // copied, too.
    virtual void ShowText(std::string_view title, std::string_view text, std::string_view json = {}) {
        static_cast<void>(json);
        Message(text, title);
    }

    // What the clipboard holds under the name of a format (clipboard.h); nothing when it holds none of it.
    virtual std::optional<std::vector<std::byte>> ReadClipboard(std::string_view) { return {}; }
    // The text on the clipboard. Throws ClipboardError where there is none.
    virtual std::string ReadClipboardText() { throw ClipboardError(clipboardNoTextText); }
    // Replaces what the clipboard holds. Throws ClipboardError.
    virtual void WriteClipboard(std::string_view, std::span<const std::byte>) {
        throw ClipboardError(clipboardBusyText);
    }

    // Shows the details of a file that is being opened. False declines the file. `skipFromNowOn` is the state
    // of the box that silences the dialog for the session.
    virtual bool AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) = 0;

    // One line for the log, usually with its line end.
    virtual void Log(std::string_view text) = 0;
};

}  // namespace kymora
