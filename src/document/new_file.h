#pragma once
// New recordings as native files: from an equation, or as the average of recordings that are open. Each
// command asks for its settings and for a name through the host, writes the file, and answers its name, for
// the caller to open.

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "document/data_doc.h"
#include "numerics/expression.h"

namespace kymora {

struct UserDefinedSettings {
    double sampleInterval = 1.0;  // ms, 1e-7 to 1e7
    int32_t samples = 10000;      // per trace, 10 to 0x7FFFFFFF
    std::string equation = "sin(2 * _pi * t / 1000)";
    std::string comment;
    bool dummyData = false;  // events only: a length, and no samples
};

// Makes the names of the time in ms known to an equation: `t`, `x` and `xt`.
void BindTime(Expression& expression, double& t);
// Why the settings make no file; empty when they do.
std::string CheckUserDefined(Session& session, const UserDefinedSettings& settings);
// Throws FileError or Cancelled, and then leaves nothing behind. Tells the user of samples without a number,
// which are written as such.
void WriteUserDefinedFile(Session& session, const UserDefinedSettings& settings,
                          const std::filesystem::path& path);

struct AveragedFiles {
    std::vector<CDataDoc*> files;  // without gaps, alike in traces, length and interval
    std::vector<int> traces;       // slots from 0
    std::string comment;
};

// Of the files without gaps, those that are like the first one; the user was asked about the others. Nothing
// when the user gave up, or a file has gaps, which the user was told.
std::optional<std::vector<CDataDoc*>> ConsistentFiles(Host& host, std::span<CDataDoc* const> files);
// Throws FileError or Cancelled, and then leaves nothing behind.
void WriteAverageFile(Session& session, const AveragedFiles& settings, const std::filesystem::path& path);

// The name of the new file; nothing when it was not made, which the user knows. `open` are the recordings
// that are open: none of them is written over.
std::optional<std::filesystem::path> NewUserDefinedFile(Session& session, std::span<CDataDoc* const> open);
std::optional<std::filesystem::path> NewFileFromAverage(Session& session, std::span<CDataDoc* const> open);

// Asks for the name of a native file to be written and gives it the extension. Nothing when the user cancels,
// or when the name is that of an open recording, which the user is told.
std::optional<std::filesystem::path> AskNewFileName(Session& session, const std::string& title,
                                                    std::span<CDataDoc* const> open,
                                                    const std::filesystem::path& suggestion = {});

// The same for the command "Save As" of a recording; a name that ends in .txt stays as it is, and so does one
// of a recording file that ends in .kymr-rec.
std::optional<std::filesystem::path> AskSaveAsName(const CDataDoc& doc, std::span<CDataDoc* const> open);

// Runs `write`, which makes the file of this name, and answers the name. What it throws is told to the user,
// and then there is none.
std::optional<std::filesystem::path> WriteNewFile(Session& session, const std::filesystem::path& path,
                                                  const std::function<void()>& write);

// Saves an open recording for old programs: as a native file of the legacy version. The name of the file that
// was written; nothing when the user cancelled or it failed, which was told.
std::optional<std::filesystem::path> SaveAsLegacy(CDataDoc& doc, std::span<CDataDoc* const> open);

}  // namespace kymora
