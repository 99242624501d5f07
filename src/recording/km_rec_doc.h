#pragma once
// A finished recording of the wave layout whose head has no version of the recording layout in its preamble:
// u16 file version, then u32 type. Other types are not read. The extension tells nothing of it, so that it is
// asked for by the import setting "preamble" with the value "short".

#include "recording/acq_doc.h"

namespace kymora {

class CKMRecDoc : public CAcqDoc {
  public:
    using CAcqDoc::CAcqDoc;

  protected:
    Preamble GetPreamble() const override { return Preamble::withoutRecordingVersion; }
};

// The document for the import settings of a recording.
std::unique_ptr<CDataDoc> MakeRecordingDoc(Session& session, const ImportSettings& settings);

}  // namespace kymora
