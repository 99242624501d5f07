#pragma once
// "Contiguous data": a table whose rows are samples and whose columns are traces, as a new recording; or a
// whole native file that another program put on the clipboard.

#include <filesystem>
#include <optional>
#include <span>

#include "exchange/new_recording_dlg.h"
#include "exchange/pasted_recording.h"
#include "exchange/read_data_form.h"

namespace kymora {

// The samples of a table. Throws TableError, Cancelled and FileError. Tells the user of labels that do not
// fit, and leaves them out.
PastedRecording ReadContiguous(Session& session, TextReader& text, TableFormat table,
                               const ReadDataFormat& format);

// Asks how the clipboard's content is to be read, and for a name, and answers the name of the file that was
// written; nothing when it was not, which the user knows. `open` are the recordings that are open: none of
// them is written over.
std::optional<std::filesystem::path> PasteContiguousData(Session& session, std::span<CDataDoc* const> open);

class CPasteContiguousData : public CNewRecordingDlg {
  public:
    const char* ClassName() const override { return "PasteContiguousData"; }
    const char* Title() const override { return "Contiguous data"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    ReadDataFormat m_Format;

  protected:
    bool WriteRecording(Session& session, const std::filesystem::path& out) override;
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    bool WriteTable(Session& session, TextReader& text, const std::filesystem::path& out) const;
};

}  // namespace kymora
