#pragma once
// Lists the parameters of events as a table, in the window, on the clipboard or in a file.

#include <array>
#include <optional>

#include "eventanalysis/event_anal_rgn_base.h"
#include "eventanalysis/event_list_text.h"

namespace kymora {

inline constexpr const char* saveEventListTitle = "Save event parameter list";

class CEventList : public CEventAnalRgnBase {
  public:
    CEventList();

    const char* ClassName() const override { return "CEventList"; }
    const char* Title() const override { return "List Event Parameters"; }
    const char* ActionLabel() const override { return "List"; }
    Affects WhatItAffects() const override { return Affects::nothing; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;

    bool HasResultText() const override { return true; }
    // The list with the columns and the region of the last run, and the events as they stand now. One that is
    // cancelled says so in its last line.
    void WriteResult(const TextSink& sink) override;
    // The same as a table of data; of one that is cancelled the rows end.
    std::vector<Result> Results() override;
    // The same for the window. Rejected events are deleted where they still stand as they were listed.
    bool HasFindings() const override { return true; }
    Findings GetFindings() override;
    const char* RejectionLabel() const override { return "Delete rejected"; }
    std::string RejectFindings(const Findings& findings) override;
    // Asks for a file and writes the same text to it; lists first where nothing has been listed yet.
    void SaveList();

    std::array<bool, eventListColumnCount> m_columns{};  // by EventListColumn
    int32_t m_nTimeUnit = 0;                             // 0 ms, 1 s
    std::vector<int> m_traces;                           // from 0; empty: the parent trace of channel 1

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool Analyse(UndoScope& undo) override;

  private:
    struct Listed {
        CEventBlock block;
        EventListOptions options;
    };

    EventListOptions Options() const { return {m_columns, m_nTimeUnit == 1, m_traces}; }
    bool UsesSource(EventListSource source) const { return Options().Uses(source); }
    // Numbers from 1, or "none".
    std::string ParentTraceText() const;
    std::string TracesText() const;
    // False when the user cancelled or the sink wanted no more.
    bool Write(const TextSink& sink, bool& isCancelled);
    bool EachRow(const ResultRowSink& sink);
    // The block with the events as they stand now.
    CEventBlock FilledBlock() const;
    void SaveTo(const std::filesystem::path& path, CArchive& archive);

    std::optional<Listed> m_listed;
};

}  // namespace kymora
