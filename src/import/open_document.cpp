#include "import/open_document.h"

#include <fmt/format.h>

#include <array>
#include <cstring>

#include "import/formats.h"

namespace kymora {
namespace {

// "Axon gap-free" of "Axon gap-free (*abf)".
std::string_view PlainName(std::string_view filterText) {
    std::string_view name = filterText.substr(0, filterText.rfind('('));
    while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
    return name;
}

// Why a file of a format without a reader does not open.
std::string CannotReadText(const std::filesystem::path& path, const Format& format) {
    std::string what;
    if (const std::string_view filter = format.extensions[0].filterText; !filter.empty())
        what = fmt::format(" of the type \"{}\"", PlainName(filter));
    return fmt::format("{} is a recording{}, which this version of Kymora recognises but cannot read.",
                       path.filename().string(), what);
}

// Graph and digitized files of old systems have no extension, but begin with a mark.
FormatMatch MatchOf(FileSystem& files, const std::filesystem::path& path) {
    const FormatMatch match = FindFormat(path);
    if (match.format || path.has_extension()) return match;
    try {
        std::array<std::byte, 4> mark{};
        if (files.Open(path, OpenMode::readOnly)->ReadAt(0, mark) == mark.size() &&
            (std::memcmp(mark.data(), "AxGr", 4) == 0 || std::memcmp(mark.data(), "axgx", 4) == 0))
            return FindFormat("x.axgx");
    } catch (const FileError&) {  // the caller tells that it is no recording
    }
    return match;
}

CDataDoc* AlreadyOpen(Session& session, CDataDoc* doc) {
    session.host.Log(fmt::format("found file {} already open\n", doc->filePath.string()));
    return doc;
}

}  // namespace

std::filesystem::path RecordingIn(FileSystem& files, const std::filesystem::path& path) {
    if (FindFormat(path).format) return path;
    for (const char* name : {"structure.oebin", "recording1/structure.oebin",
                             "experiment1/recording1/structure.oebin", "info.rhd", "info.rhs"})
        if (files.Stamp(path / name)) return path / name;
    return path;
}

Opened OpenRecording(Session& session, const std::filesystem::path& named, const OpenRequest& request) {
    const std::filesystem::path path = RecordingIn(session.files, named);
    const FormatMatch match = MatchOf(session.files, path);
    Opened opened;
    if (!match.format)
        opened.opening.fault = unrecognisedTypeText;
    else if (!match.format->reader.make)
        opened.opening.fault = CannotReadText(path, *match.format);
    if (!opened.opening.fault.empty()) {
        if (!request.callerTells) session.host.Message(opened.opening.fault);
        return opened;
    }
    auto doc = match.format->reader.make(session, request.settings);
    const bool isOpen = doc->OnOpenDocument(path, request);
    opened.opening = doc->GetOpening();
    if (isOpen) opened.document = std::move(doc);
    return opened;
}

std::unique_ptr<CDataDoc> OpenDocument(Session& session, const std::filesystem::path& path,
                                       const OpenRequest& request) {
    return OpenRecording(session, path, request).document;
}

CDataDoc* BatchDocuments::FindShown(const std::filesystem::path& path) const {
    for (CDataDoc* doc : shown_())
        if (IsSameFile(session_.files, doc->filePath, path)) return doc;
    return nullptr;
}

CDataDoc* BatchDocuments::OpenForBatch(const std::filesystem::path& path) {
    if (CDataDoc* doc = FindShown(path)) return AlreadyOpen(session_, doc);
    for (const auto& doc : own_)
        if (IsSameFile(session_.files, doc->filePath, path)) return AlreadyOpen(session_, doc.get());
    return Take(path, {OpenFor::editing, OpenTalk::logs, settings_});
}

CDataDoc* BatchDocuments::OpenCopyForBatch(const std::filesystem::path& path) {
    // What the user answered when the file opened holds for the copy too.
    const CDataDoc* shown = FindShown(path);
    return Take(path, {OpenFor::reading, OpenTalk::logs, shown ? shown->ToReopen().settings : settings_});
}

CDataDoc* BatchDocuments::Take(const std::filesystem::path& path, const OpenRequest& request) {
    if (const FormatExtension* type = FindFormat(path).extension; type && !type->inBatch) {
        session_.host.Message(unrecognisedTypeText);
        return nullptr;
    }
    auto doc = OpenDocument(session_, path, request);
    if (!doc) return nullptr;
    own_.push_back(std::move(doc));
    return own_.back().get();
}

void BatchDocuments::CloseIfNotOpen(const std::filesystem::path& path) {
    if (CDataDoc* doc = FindShown(path))
        AlreadyOpen(session_, doc);
    else
        session_.host.Log(fmt::format("file {} is not already open, deleting\n", path.string()));
    std::erase_if(own_, [&](const auto& doc) { return IsSameFile(session_.files, doc->filePath, path); });
}

}  // namespace kymora
