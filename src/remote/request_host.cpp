#include "remote/request_host.h"

#include "archive/text_encoding.h"
#include "host/form.h"
#include "remote/base64.h"
#include "remote/form_answers.h"

namespace kymora {

RequestHost::RequestHost(Host& person, FileSystem& files, const Json& request)
    : person_(person), files_(files), request_(request) {}

void RequestHost::Message(std::string_view text, std::string_view title) {
    messages_.push_back({{"title", title}, {"text", text}});
}

bool RequestHost::Confirm(std::string_view text, std::string_view title) {
    const Json* yes = FindMember(request_, "yes");
    bool answer = false;
    if (yes != nullptr && yes->is_boolean()) answer = yes->get<bool>();
    if (yes != nullptr && yes->is_array() && questionsAsked_ < yes->size())
        answer = (*yes)[questionsAsked_] == true;
    ++questionsAsked_;
    questions_.push_back({{"title", title}, {"text", text}, {"answer", answer}});
    return answer;
}

bool RequestHost::Notice(std::string_view key, std::string_view title, std::string_view text) {
    messages_.push_back({{"title", title}, {"text", text}, {"key", key}});
    return true;
}

// It only tells something, so going on is what a sender expects; "yes": false declines.
bool RequestHost::NoticeWithCancel(std::string_view key, std::string_view title, std::string_view text) {
    Notice(key, title, text);
    const Json* yes = FindMember(request_, "yes");
    return yes == nullptr || *yes != false;
}

std::vector<std::filesystem::path> RequestHost::ChooseOpenFiles(const FileRequest& request) {
    std::vector<std::filesystem::path> chosen;
    try {
        if (const Json* files = FindMember(request_, "files"))
            for (const Json& file : files->is_array() ? *files : Json::array({*files}))
                chosen.push_back(AsPath(file, "files"));
    } catch (const RemoteError& error) {
        Blame(error.what());
        return {};
    }
    if (chosen.empty()) Blame("The command asks for files: " + request.title + ". Name them in \"files\".");
    return chosen;
}

std::optional<std::filesystem::path> RequestHost::ChooseSaveFile(const FileRequest& request) {
    const Json* file = FindMember(request_, "file");
    if (file == nullptr) {
        Blame("The command asks for a file: " + request.title + ". Name it in \"file\".");
        return std::nullopt;
    }
    std::filesystem::path path;
    try {
        path = AsPath(*file, "file");
    } catch (const RemoteError& error) {
        Blame(error.what());
        return std::nullopt;
    }
    if (path.extension().empty() && !request.defaultExtension.empty())
        path.replace_extension(request.defaultExtension);
    if (files_.Stamp(path) && !Confirm(path.string() + " exists. Replace it?", request.title)) {
        Blame("The file exists and was not replaced; \"yes\": true replaces it.");
        return std::nullopt;
    }
    return path;
}

const Json* RequestHost::NextAnswers() {
    const Json* answers = FindMember(request_, "answers");
    const size_t turn = formsAsked_++;
    if (answers == nullptr) return nullptr;
    if (answers->is_array()) return turn < answers->size() ? &(*answers)[turn] : nullptr;
    return turn == 0 ? answers : nullptr;
}

// A text that the request brings is all that the clipboard holds.
std::optional<std::vector<std::byte>> RequestHost::ReadClipboard(std::string_view format) {
    if (FindMember(request_, "clipboard") != nullptr) return {};
    return person_.ReadClipboard(format);
}

std::string RequestHost::ReadClipboardText() {
    const Json* text = FindMember(request_, "clipboard");
    if (text == nullptr) return person_.ReadClipboardText();
    if (!text->is_string()) throw ClipboardError("\"clipboard\" must be a text.");
    return text->get<std::string>();
}

bool RequestHost::AskForm(Form& form) {
    Json described = DescribeForm(form);
    const Json* answers = NextAnswers();
    bool accepted = false;
    if (answers == nullptr) {
        Blame((form.fault.empty() ? "" : form.fault + "\n") + "The command asks for values: " + form.title +
              ". Give them in \"answers\".");
    } else if (const std::string fault = FillForm(form, *answers); !fault.empty()) {
        Blame("The form \"" + form.title + "\" was not accepted. " + fault);
    } else {
        accepted = true;
    }
    described["accepted"] = accepted;
    if (FlagMember(request_, "formPictures"))
        if (const auto png = person_.PictureOf(form); !png.empty()) described["png"] = ToBase64(png);
    forms_.push_back(std::move(described));
    return accepted;
}

void RequestHost::ShowText(std::string_view title, std::string_view text, std::string_view) {
    texts_.push_back({{"title", title}, {"text", text}});
}

bool RequestHost::AcceptFileDetails(const FileDetails&, bool& skipFromNowOn) {
    skipFromNowOn = false;
    return true;
}

std::unique_ptr<Progress> RequestHost::StartProgress(std::string_view label, uint64_t total) {
    return person_.StartProgress(label, total);
}

void RequestHost::Report(Json& answer) const {
    const std::pair<const char*, const Json*> lists[] = {
        {"messages", &messages_}, {"questions", &questions_}, {"forms", &forms_}, {"texts", &texts_}};
    for (const auto& [name, list] : lists)
        if (!list->empty()) answer[name] = *list;
}

std::string RequestHost::AllMessages() const {
    std::string all;
    for (const Json* list : {&messages_, &questions_})
        for (const Json& said : *list) all += (all.empty() ? "" : "\n") + said["text"].get<std::string>();
    return all;
}

}  // namespace kymora
