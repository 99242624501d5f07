#pragma once
// A second, silent look at the samples of an open document, for a thread of its own. The document itself is
// never shared between threads.

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "document/data_doc.h"
#include "host/quiet_host.h"

namespace kymora {

// All that is needed to read the samples of a document again, and to know that they are the same. A value: it
// goes from the thread of the document to the one that looks.
struct LookSource {
    std::filesystem::path path;          // as the document has it
    std::filesystem::path resolvedPath;  // the same for all links to the file
    FileStamp stamp;                     // of the file whose samples those are
    Reopening reopening;
    int fileType = 0;
    std::vector<double> gains;
    int64_t length = 0;
    uint64_t runs = 0;  // hash of the run lists

    int Traces() const { return static_cast<int>(gains.size()); }
    // Nothing for a document without a file or without samples.
    static std::optional<LookSource> Of(const CDataDoc& doc, FileSystem& files);
    // Whether the document's samples are still read with these gains.
    bool HasGainsOf(const CDataDoc& doc) const;
    // What else than the file makes the samples what they are; equal where they are.
    std::string Description() const;
};

class SecondLook {
  public:
    // Opening ends soon after `stop` becomes true. All three must outlive the look; `files` is used from the
    // thread that calls.
    SecondLook(FileSystem& files, const LookSource& source, const std::atomic<bool>& stop);

    // The document, opened for reading when it is first asked for: it never locks and never writes. Null when
    // the file does not hold the same recording any more.
    CDataDoc* Document();

  private:
    const LookSource& source_;
    QuietHost host_;
    Session session_;
    std::unique_ptr<CDataDoc> doc_;
    bool tried_ = false;
};

}  // namespace kymora
