#include "import/open_document.h"

#include "document/float_doc.h"
#include "import/edf_doc.h"

namespace kymora {
namespace {

template <typename Document>
std::unique_ptr<CDataDoc> Make(Session& session) {
    return std::make_unique<Document>(session);
}

constexpr DocumentFormat formats[] = {
    {".edf", "European Data Format (*edf)", Make<CEDFDoc>},
    {".flt", "binary float (*.flt)", Make<CFloatDoc>},
    {".kymr-dat", "native Kymora(*.kymr-dat)", Make<CFloatDoc>},
};

}  // namespace

std::span<const DocumentFormat> DocumentFormats() { return formats; }

std::unique_ptr<CDataDoc> OpenDocument(Session& session, const std::filesystem::path& path, OpenFor purpose) {
    const std::string extension = FoldedExtension(path);
    for (const DocumentFormat& format : formats) {
        if (extension != format.extension) continue;
        auto doc = format.make(session);
        if (!doc->OnOpenDocument(path, purpose)) return nullptr;
        return doc;
    }
    session.host.Message("Unrecognised file type: abandoning");
    return nullptr;
}

}  // namespace kymora
