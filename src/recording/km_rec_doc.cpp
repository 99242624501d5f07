#include "recording/km_rec_doc.h"

namespace kymora {

std::unique_ptr<CDataDoc> MakeRecordingDoc(Session& session, const ImportSettings& settings) {
    const auto preamble = settings.find("preamble");
    if (preamble != settings.end() && preamble->second == "short")
        return std::make_unique<CKMRecDoc>(session);
    return std::make_unique<CAcqDoc>(session);
}

}  // namespace kymora
