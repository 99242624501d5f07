#include "import/convert_to_text.h"

#include <fmt/format.h>

#include "document/native_writer.h"
#include "document/text_export.h"
#include "import/formats.h"

namespace kymora {

namespace {

// False when the file was not written; throws Cancelled when the user stopped the writing.
bool ConvertOne(BatchDocuments& batch, CDataDoc& doc, const std::filesystem::path& target) {
    Session& session = batch.GetSession();
    if (batch.FindShown(target)) {
        session.host.Failure(fmt::format("The file {} is open. It was left as it is.", target.string()));
        return false;
    }
    if (session.files.Stamp(target) &&
        !session.host.Confirm(fmt::format("The file {} exists. Replace it?", target.string())))
        return false;
    return ExportAsText(doc, target);
}

}  // namespace

int ConvertFilesToText(Session& session, BatchDocuments& batch) {
    const auto paths = session.host.ChooseOpenFiles({"Select Files to Convert", ConvertibleFilter(), {}, {}});
    if (paths.empty()) return 0;
    int written = 0;
    ProgressScope progress(session.host, "Converting file: ", paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
        CDataDoc* doc = batch.OpenForBatch(paths[i]);
        auto target = paths[i];
        target.replace_extension(".txt");
        try {
            if (doc && ConvertOne(batch, *doc, target)) ++written;
        } catch (const Cancelled&) {
            batch.CloseIfNotOpen(paths[i]);
            break;
        }
        if (doc) batch.CloseIfNotOpen(paths[i]);
        if (!progress.GoesOn(i + 1)) break;
    }
    return written;
}

}  // namespace kymora
