#pragma once
// "Filter events by label": keeps the events whose label contains a text, or is it.

#include "eventedit/event_edit_dlg.h"

namespace kymora {

inline constexpr const char* noSearchText =
    "You need text to search for in the source event labels. CANCEL to abandon";

class CEventLabelFilter : public CEventFilterDlg {
  public:
    const char* ClassName() const override { return "CEventLabelFilter"; }
    const char* Title() const override { return "Filter events by label"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    std::string m_strSearch;
    int32_t m_nMode = 0;  // contains, matches
    bool m_bCaseSensitive = false;
    bool m_bSearchAsLabel = false;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::optional<std::vector<uint8_t>> Keeps(const EventsByOnset& events) override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    bool MustMatch() const { return m_nMode == 1; }
};

}  // namespace kymora
