#pragma once
// MATLAB files (.mat) of oscilloscopes and others: vectors and matrices of numbers, of which a dialog asks,
// or import setting "variables" (names with commas between; a name that holds a comma stands in double
// quotes). "sampleInterval" (ms) takes the place of what the file says of the chosen ones. The samples are
// kept in memory; what the user adds goes to the side-car, which remembers the variables.

#include <memory>
#include <string>
#include <vector>

#include "document/data_doc.h"
#include "document/side_car.h"

namespace kymora {

class MatFile;
struct MatArray;

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
        std::vector<TraceSignal> signals;
        std::vector<std::vector<float>> values;
    };

    void Choose(MatFile& file);
    std::vector<const MatArray*> Remembered(const MatFile& file, const SideCarTraces& stored) const;
    bool Ask(MatFile& file, bool areNamed, bool isTimed);
    void TakeTraces(MatFile& file);
    SideCarResult ReadOwnSideCar();
    void FillModel();

    std::vector<const MatArray*> variables_;  // while the file is read
    std::vector<std::string> names_;          // of them
    SideCarOfChoice sideCar_;
    double interval_ = 1.0;  // ms
    bool isTold_ = false;    // by the file or the user
    std::string comment_;
    std::shared_ptr<const Traces> samples_;
};

}  // namespace kymora
