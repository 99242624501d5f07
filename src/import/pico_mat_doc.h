#pragma once
// MATLAB files (.mat) of oscilloscopes and others: vectors and matrices of numbers, of which a dialog asks,
// or import setting "variables" (names with commas between). "sampleInterval" (ms) takes the place of what
// the file says. The samples are kept in memory; what the user adds goes to the side-car.

#include <memory>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

struct MatContents;

class CPicoMatDoc : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    int GetFileType() const override { return typePicoMat; }
    Reopening ToReopen() const override;

  protected:
    void Load() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    struct Traces {
        std::vector<std::string> labels, units;
        std::vector<std::vector<float>> values;
    };

    void Choose(const MatContents& contents);
    bool Ask(const MatContents& contents, bool areNamed, bool isTimed);
    void TakeTraces(const MatContents& contents);
    void FillModel();

    std::vector<std::string> variables_;
    double interval_ = 1.0;  // ms
    std::string comment_;
    std::shared_ptr<const Traces> samples_;
};

}  // namespace kymora
