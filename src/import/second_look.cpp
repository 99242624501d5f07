#include "import/second_look.h"

#include <fmt/format.h>

#include "import/open_document.h"

namespace kymora {

namespace {

uint64_t HashRuns(const CDataDoc& doc) {
    uint64_t hash = 0xcbf29ce484222325;
    const auto mix = [&](uint64_t word) { hash = (hash ^ word) * 0x100000001b3; };
    for (size_t t = 0; t < static_cast<size_t>(doc.traceCount); ++t) {
        mix(static_cast<uint64_t>(doc.validRuns[t].Size()));
        for (const uint32_t run : doc.validRuns[t].Runs()) mix(run);
    }
    return hash;
}

}  // namespace

std::optional<LookSource> LookSource::Of(const CDataDoc& doc, FileSystem& files) {
    if (doc.filePath.empty() || doc.noData || doc.traceCount <= 0 || doc.GetLength() <= 0) return {};
    const auto resolvedPath = files.Resolve(std::filesystem::absolute(doc.filePath));
    const auto stamp = files.Stamp(resolvedPath);
    if (!stamp) return {};
    Reopening reopening = doc.Reader().ToReopen();
    // Samples in memory are not those of a file that was written since they were read.
    if (reopening.twin && doc.RememberedStamp(doc.filePath) != stamp) return {};
    return LookSource{doc.filePath,      resolvedPath, *stamp,          std::move(reopening),
                      doc.GetFileType(), doc.Gains(),  doc.GetLength(), HashRuns(doc)};
}

bool LookSource::HasGainsOf(const CDataDoc& doc) const { return gains == doc.Gains(); }

std::string LookSource::Description() const {
    std::string text =
        fmt::format("type {}, {} traces, {} samples, runs {:016x}", fileType, Traces(), length, runs);
    for (const double gain : gains) text += fmt::format(" {}", gain);
    for (const auto& [name, value] : reopening.settings) text += fmt::format("\n{}={}", name, value);
    return text;
}

SecondLook::SecondLook(FileSystem& files, const LookSource& source, const std::atomic<bool>& stop)
    : source_(source), host_(stop), session_(host_, files) {}

CDataDoc* SecondLook::Document() {
    if (tried_) return doc_.get();
    tried_ = true;
    const auto& [settings, twin] = source_.reopening;
    auto doc = twin ? twin(session_)
                    : OpenDocument(session_, source_.path, {OpenFor::reading, OpenTalk::tells, settings});
    const bool same = doc && doc->traceCount == source_.Traces() && doc->GetLength() == source_.length &&
                      HashRuns(*doc) == source_.runs;
    if (!same) return nullptr;
    // Gains that the user changed and did not save yet.
    for (size_t t = 0; t < source_.gains.size(); ++t) doc->traces[t].traceGain = source_.gains[t];
    doc->eventChannels = std::vector<CEventChan>();  // nobody looks at them here
    doc_ = std::move(doc);
    return doc_.get();
}

}  // namespace kymora
