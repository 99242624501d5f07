#pragma once
// Raw binary files (.bin): numbers of one type, interleaved, without a head. The samples stay in the file,
// which is never written; what the user adds goes to the side-car. What the file does not say comes from
// import settings, from a dialog or from the defaults of the session (binary_format.h).

#include <memory>

#include "document/data_doc.h"
#include "import/binary_format.h"

namespace kymora {

class CBinaryDoc : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    int GetFileType() const override { return typeBinary; }
    Reopening ToReopen() const override;

  protected:
    void Load() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;
    // Floating point files may hold what is no number.
    bool CanFold() const override { return format_.layout.IsInteger(); }
    void FoldStored(int64_t storedIndex, int64_t count, FoldSlots slots,
                    std::span<const TraceFold> folds) override;
    void FoldStoredStretches(int trace, std::span<const FoldStretch> stretches) override;

  private:
    void ChooseFormat();
    void MeasureFile();
    void FillModel();
    void ReadOwnSideCar();

    BinaryFormat format_;
    int64_t length_ = 0;  // samples
    std::unique_ptr<BinarySampleReader> reader_;
};

}  // namespace kymora
