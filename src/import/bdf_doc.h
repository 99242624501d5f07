#pragma once
// BDF and BDF+ files (.bdf): European Data Format with numbers of 24 bits. The changes of a "Status" signal
// to another trigger code become events, which last as long as the code stands.

#include "import/edf_doc.h"

namespace kymora {

class CBDFDoc : public CEDFDoc {
  public:
    using CEDFDoc::CEDFDoc;
    int GetFileType() const override { return typeBdf; }

  protected:
    const char* Extension() const override { return ".bdf"; }
    void AddFileEvents() override;

  private:
    std::vector<CEventKM> ReadTriggers(const EdfSignal& status);
};

}  // namespace kymora
