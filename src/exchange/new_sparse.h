#pragma once
// "Sparse data": points in time with their values, as a new recording in which each point is a sample and
// what lies between the points is gap, or a curve through them.

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "exchange/new_recording_dlg.h"
#include "exchange/pasted_recording.h"
#include "exchange/sparse_points.h"
#include "host/form.h"

namespace kymora {

struct SparseSettings {
    int32_t timeUnit = 0;         // of the table: 0 ms, 1 s, 2 min
    double sampleInterval = 1.0;  // ms, of the new recording
    FillSettings fill;            // between the points, and with extrapolation before the first one

    double TimeFactor() const;  // ms
};

// Why the points make no recording at these settings; empty when they do.
std::string SparseFault(const SparsePoints& points, const SparseSettings& settings);
// The recording of points that have no fault. The points give their values away.
PastedRecording MakeSparse(SparsePoints&& points, const SparseSettings& settings);

// The dialog that asks what the times mean.
class CFilePasteNewSparse {
  public:
    // The points must outlive the dialog.
    CFilePasteNewSparse(const SparsePoints& points, int32_t timeUnit);
    // False when the user cancels.
    bool Ask(Host& host);
    SparseSettings Settings() const;

  private:
    void Follow();

    const SparsePoints& points_;
    Form form_{"New File From Sparse Data"};
    int32_t shownUnit_;  // of the interval that is offered
};

// Asks as PasteContiguousData does, and answers the name of the file that was written.
std::optional<std::filesystem::path> PasteSparseData(Session& session, std::span<CDataDoc* const> open);

class CPasteSparseData : public CNewRecordingDlg {
  public:
    const char* ClassName() const override { return "PasteSparseData"; }
    const char* Title() const override { return "Sparse data"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    SparseSettings m_Settings;

  protected:
    bool WriteRecording(Session& session, const std::filesystem::path& out) override;
    void Describe(ParamList& list) override;
};

}  // namespace kymora
