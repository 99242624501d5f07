#include "remote/remote_requests.h"

#include "document/data_doc.h"
#include "remote/base64.h"

namespace kymora {

std::span<const RemoteMember> CommonMembers() {
    static constexpr RemoteMember members[] = {
        {"id", "A number or text that the answer repeats."},
        {"document", "The recording: its number, from 0 in the order of `state`, or its path. The active one "
                     "without it. One that is shown in two windows counts twice."},
        {"answers",
         "Values for the dialog that a command asks with: an object by the dialog's keys, or a list "
         "of objects for several dialogs in turn. A dialog without an answer is cancelled, and the "
         "answer's `forms` tells what it asks for."},
        {"yes",
         "What questions are answered: true, false, or a list for several in turn. Without it they get "
         "the answer that changes nothing."},
        {"file", "The name where the program asks for a file to save under. A file that exists is replaced "
                 "only with `\"yes\": true`."},
        {"formPictures", "true adds to each dialog in the answer's `forms` its picture, filled in as it was "
                         "answered, as `png` (base64)."},
        {"clipboard",
         "A text that stands for what the clipboard holds. Without it commands read and write the "
         "clipboard itself."},
        {"files", "The names where the program asks for files to open."},
    };
    return members;
}

std::span<const RemoteRequest> RemoteRequests() {
    static const RequestTable table = [] {
        RequestTable all;
        for (const auto& part : {DocumentRequests, CommandRequests, EventRequests, OperationRequests,
                                 RecorderRequests, WindowRequests})
            for (RemoteRequest& request : part()) all.push_back(std::move(request));
        return all;
    }();
    return table;
}

int RemoteCall::DocumentOf(const Json& wanted) const {
    const std::vector<CKymoraView*> views = target.Views();
    if (wanted.is_number()) {
        const int64_t number = AsWhole(wanted, "document", 0, 1000000);
        if (number < static_cast<int64_t>(views.size())) return static_cast<int>(number);
        throw RemoteError("There is no recording " + std::to_string(number) + ".");
    }
    const std::filesystem::path path = AsPath(wanted, "document");
    for (size_t i = 0; i < views.size(); ++i)
        if (SamePath(views[i]->GetDocument().filePath, path)) return static_cast<int>(i);
    throw RemoteError("The recording " + path.string() + " is not open.");
}

int RemoteCall::Document() const {
    if (const Json* wanted = FindMember(request, "document")) return DocumentOf(*wanted);
    const int active = target.Active();
    if (active < 0) throw RemoteError("No recording is open.");
    return active;
}

void RemoteCall::Fail(std::string_view otherwise) const {
    if (!host.Fault().empty()) throw RemoteError(host.Fault());
    const std::string said = host.AllMessages();
    throw RemoteError(said.empty() ? std::string(otherwise) : said);
}

void RemoteCall::AnswerFile(const char* member, std::span<const std::byte> bytes) {
    const Json* const name = FindMember(request, "file");
    if (name) {
        const std::filesystem::path path = AsPath(*name, "file");
        FileSystem& files = target.GetSession().files;
        const bool exists = files.Stamp(path).has_value();
        const Json* yes = FindMember(request, "yes");
        if (exists && (yes == nullptr || *yes != true))
            throw RemoteError("The file " + path.string() + " exists; \"yes\": true replaces it.");
        const auto file = files.Open(path, exists ? OpenMode::readWrite : OpenMode::createNew);
        file->WriteAt(0, bytes);
        file->Truncate(bytes.size());
    } else {
        answer[member] = ToBase64(bytes);
    }
    answer["bytes"] = bytes.size();
}

}  // namespace kymora
