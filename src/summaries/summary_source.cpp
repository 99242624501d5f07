#include "summaries/summary_source.h"

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

std::vector<double> GainsOf(const CDataDoc& doc) {
    std::vector<double> gains;
    for (int t = 0; t < doc.traceCount; ++t) gains.push_back(doc.traces[static_cast<size_t>(t)].traceGain);
    return gains;
}

}  // namespace

std::optional<SourceInfo> SourceInfo::Of(const CDataDoc& doc, FileSystem& files) {
    if (doc.filePath.empty() || doc.noData || doc.traceCount <= 0 || doc.GetLength() <= 0) return {};
    SourceInfo info;
    info.path = doc.filePath;
    info.key.path = files.Resolve(std::filesystem::absolute(doc.filePath));
    const auto stamp = files.Stamp(info.key.path);
    if (!stamp) return {};
    info.key.stamp = *stamp;
    info.importSettings = doc.SettingsToReopen();
    info.twin = doc.TwinMaker();
    // Samples in memory are not those of a file that was written since they were read.
    if (info.twin && doc.RememberedStamp(doc.filePath) != stamp) return {};
    info.gains = GainsOf(doc);
    info.length = doc.GetLength();
    info.runs = HashRuns(doc);
    std::string& text = info.key.settings;
    text = fmt::format("type {}, {} traces, {} samples, runs {:016x}", doc.GetFileType(), doc.traceCount,
                       info.length, info.runs);
    for (const double gain : info.gains) text += fmt::format(" {}", gain);
    for (const auto& [name, value] : info.importSettings) text += fmt::format("\n{}={}", name, value);
    return info;
}

bool SourceInfo::HasGainsOf(const CDataDoc& doc) const { return gains == GainsOf(doc); }

SummarySource::SummarySource(FileSystem& files, const SourceInfo& info, const std::atomic<bool>& stop)
    : info_(info), host_(stop), session_(host_, files) {
    session_.skipFileDetails = true;
    session_.gapNoticeShown = true;
    session_.importSettings = info.importSettings;
}

CDataDoc* SummarySource::Document() {
    if (tried_) return doc_.get();
    tried_ = true;
    auto doc = info_.twin ? info_.twin(session_) : OpenDocument(session_, info_.path, OpenFor::reading);
    const bool same = doc && doc->traceCount == info_.Traces() && doc->GetLength() == info_.length &&
                      HashRuns(*doc) == info_.runs;
    if (!same) return nullptr;
    // Gains that the user changed and did not save yet.
    for (size_t t = 0; t < info_.gains.size(); ++t) doc->traces[t].traceGain = info_.gains[t];
    doc->eventChannels = std::vector<CEventChan>();  // nobody looks at them here
    doc_ = std::move(doc);
    return doc_.get();
}

}  // namespace kymora
