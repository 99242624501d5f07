#pragma once
// A document without anything in it, on which operations run that read a table in the place of a recording.

#include "document/data_doc.h"

namespace kymora {

class BlankDoc : public CDataDoc {
  public:
    explicit BlankDoc(Session& session) : CDataDoc(session) {}

    // Another thread takes one of its own.
    Reopening ToReopen() const override {
        Reopening reopening;
        reopening.twin = [](Session& its) { return std::make_unique<BlankDoc>(its); };
        return reopening;
    }

  protected:
    void Load() override {}
    void ReadStored(int64_t, std::span<const StoredRead>) override {}
};

}  // namespace kymora
