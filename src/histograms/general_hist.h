#pragma once
// The histogram of numbers from a text file or from the clipboard, with its statistics. It needs no
// recording.

#include "histograms/hist_base.h"

namespace kymora {

class CGeneralHist : public CHistBase {
  public:
    CGeneralHist() : CHistBase(0) {}

    const char* ClassName() const override { return "CGeneralHist"; }
    const char* Title() const override { return "Histogram of numbers"; }
    bool NeedsRecording() const override { return false; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override { AppendHistText(text); }

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool MakeInput(HistJob&) override { return false; }
};

}  // namespace kymora
