#pragma once
// "Paste sparse trace": points in time with their values become a trace of the recording, in the place of one
// or behind it, at the recording's own sample interval.

#include <memory>

#include "exchange/fill_words.h"
#include "exchange/sparse_points.h"
#include "transforms/make_preview.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CFloatDoc;
class SparseSamples;

class CPasteSparseTrace : public CTransformDlg, public CPreviewHost {
  public:
    enum AddMode { replaceTrace = 0, addBehind = 1 };

    CPasteSparseTrace();
    ~CPasteSparseTrace() override;
    const char* ClassName() const override { return "CPasteSparseTrace"; }
    const char* Title() const override { return "Paste sparse trace"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    // The new trace beside the one that it replaces, or behind which it stands.
    void OnNeedData(PreviewData& data) override;
    int PreviewTrace() const override { return m_nTrace; }
    std::string ResultUnits(const std::string&) const override { return {}; }

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
    // What the last preview was made of, which a step of scrolling does not read again.
    struct Previewed;

    void ChooseFile();
    const Previewed& PreparePreview();
    std::optional<SparsePoints> TakePoints(Session& session);
    std::unique_ptr<SparseSamples> MakeSamples(const SparsePoints& points);
    void WriteTraces(CArchive& archive, const SparseSamples& samples, TraceSettings& made);
    void NameResult(CFloatDoc& result, const std::vector<std::string>& labels) const;

    std::unique_ptr<Previewed> m_previewed;
};

}  // namespace kymora
