#pragma once
// "Paste sparse trace": points in time with their values become a trace of the recording, in the place of one
// or behind it, at the recording's own sample interval.

#include <memory>

#include "exchange/fill_words.h"
#include "exchange/sparse_points.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CFloatDoc;
class SparseSamples;

class CPasteSparseTrace : public CTransformDlg {
  public:
    enum AddMode { replaceTrace = 0, addBehind = 1 };

    CPasteSparseTrace() : CTransformDlg("Paste sparse") {}
    const char* ClassName() const override { return "CPasteSparseTrace"; }
    const char* Title() const override { return "Paste sparse trace"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    std::string m_sFile;  // stands for the clipboard
    int32_t m_nTimeUnit = 0;
    int32_t m_nTrace = 0;  // from 0
    int32_t m_nAddMode = addBehind;
    FillSettings m_Fill;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    Written WriteRecording(CArchive& archive, const std::filesystem::path& target) override;

  private:
    bool Adds() const { return m_nAddMode == addBehind; }
    size_t ResultSlot() const { return static_cast<size_t>(m_nTrace) + (Adds() ? 1 : 0); }
    void ChooseFile();
    std::optional<SparsePoints> TakePoints(Session& session);
    std::unique_ptr<SparseSamples> MakeSamples(const SparsePoints& points);
    void WriteTraces(CArchive& archive, const SparseSamples& samples, TraceSettings& made);
    void NameResult(CFloatDoc& result, const std::vector<std::string>& labels) const;
};

}  // namespace kymora
