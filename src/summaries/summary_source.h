#pragma once
// A second, silent look at the file of an open document, for a thread of its own. The document itself is
// never shared between threads.

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/quiet_host.h"
#include "host/session.h"
#include "summaries/summary_file.h"

namespace kymora {

// All that is needed to open the file of a document again, and to know that it is the same recording.
struct SourceInfo {
    SummaryKey key;
    std::filesystem::path path;
    std::map<std::string, std::string> importSettings;
    std::function<std::unique_ptr<CDataDoc>(Session&)> twin;  // in place of a second look at the file
    std::vector<double> gains;
    int64_t length = 0;
    uint64_t runs = 0;  // hash of the run lists

    int Traces() const { return static_cast<int>(gains.size()); }
    // Nothing for a document without a file or without samples.
    static std::optional<SourceInfo> Of(const CDataDoc& doc, FileSystem& files);
    // Whether the document's samples are still read with these gains.
    bool HasGainsOf(const CDataDoc& doc) const;
};

class SummarySource {
  public:
    // Opening ends soon after `stop` becomes true. All three must outlive the source; `files` is used from
    // the thread that calls.
    SummarySource(FileSystem& files, const SourceInfo& info, const std::atomic<bool>& stop);

    // The document, opened for reading when it is first asked for: it never locks and never writes. Null when
    // the file does not hold the same recording any more.
    CDataDoc* Document();

  private:
    const SourceInfo& info_;
    QuietHost host_;
    Session session_;
    std::unique_ptr<CDataDoc> doc_;
    bool tried_ = false;
};

}  // namespace kymora
