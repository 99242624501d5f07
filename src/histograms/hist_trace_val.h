#pragma once
// The histogram of the sample values of a trace.

#include "histograms/hist_base.h"

namespace kymora {

inline constexpr size_t mostTraceValues = 100'000;  // for the number of bins, the rug and the density

class CHistTraceVal : public CHistBase {
  public:
    CHistTraceVal() : CHistBase(usesTrace) {}

    const char* ClassName() const override { return "CHistTraceVal"; }
    const char* Title() const override { return "Trace value histogram"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

  protected:
    void Describe(ParamList& list) override;
    bool MakeInput(HistJob& job) override;

  private:
    std::vector<SampleSpan> TakeSpans();
};

}  // namespace kymora
