#pragma once
// What the clipboard's content becomes: samples that were read, or a whole native file, as a new file.

#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "document/run_list.h"
#include "host/session.h"
#include "import/sample_blocks.h"

namespace kymora {

struct PastedRecording {
    using Take = std::function<void(std::span<const float>)>;

    double sampleInterval = 1.0;      // ms
    std::vector<std::string> labels;  // of the traces; none, or one for each
    SampleBlocks samples;
    RunList runs;         // of every trace
    std::string comment;  // lines end in CR LF
    std::string history;  // the entry
    // Makes the samples of a trace from the column of that number; empty where the column holds them.
    std::function<void(const SampleBlocks& columns, int trace, const Take&)> make;

    int64_t Rows() const { return make ? runs.StoredCount() : samples.Rows(); }
    void ForBlocks(int trace, const Take& take) const {
        if (make)
            make(samples, trace, take);
        else
            samples.ForBlocks(trace, take);
    }
};

// Writes a native file; with views of the whole recording and the extremes of each trace. Throws FileError or
// Cancelled, and then leaves nothing behind. Tells the user of samples without a number.
void WritePasted(Session& session, const PastedRecording& recording, const std::filesystem::path& path);

// Runs `read`, which reads a table. What it throws is told to the user; false then, and when the user
// cancelled.
bool ReadTelling(Session& session, const std::function<void()>& read);

inline constexpr const char* noClipboardText = "Unable to read text from clipboard.";
inline constexpr const char* noDataReadText = "No data were read from the clipboard.";
inline constexpr const char* tableTooWideText = "There are more than 128 traces in the data. Abandoning.";

// --- a block that is a whole native file

inline constexpr uint64_t firstRefusedBlockSize = uint64_t{1} << 31;
inline constexpr const char* blockTooLargeText = "file too large to open";

// Whether a file begins as native files do, and as no text does.
bool BeginsAsNativeFile(const DataFile& file);
// Writes the block byte for byte under the name, once it has proved to be a native file that opens. Throws
// FileError, Cancelled, or ArchiveError for what is none, and then leaves nothing behind.
void WriteNativeBlock(Session& session, std::span<const std::byte> block, const std::filesystem::path& path);
void WriteNativeBlock(Session& session, const DataFile& block, const std::filesystem::path& path);

}  // namespace kymora
