#pragma once
// Operations for tests of what runs operations: one that marks events, with a hook in its work, and one that
// lists.

#include <fmt/format.h>

#include "catalogue/operations.h"
#include "support/test_operation.h"

namespace kymora::test {

// Called by each run of the operations below, with the document at work; false abandons the run.
inline std::function<bool(CDataDoc&)> duringRun;

class MarkOperation : public TestOperation {
  public:
    MarkOperation() {
        then = [this] { return !duringRun || duringRun(*Document()); };
    }
};

// Lists the number of events in its channel and tells nothing else.
class ListOperation : public CEventBaseDlg {
  public:
    ListOperation() : CEventBaseDlg(usesChannel1) {}
    const char* ClassName() const override { return "CListOperation"; }
    const char* Title() const override { return "List operation"; }
    Affects WhatItAffects() const override { return Affects::nothing; }
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override {
        for (int i = 0; i < m_nRepeats; ++i)
            if (!sink(fmt::format("{} events\r", m_nCount)) || !sink("\nfollowed\r\n")) return;
    }
    int32_t m_nRepeats = 1;

  protected:
    void Describe(ParamList& list) override {
        DescribeSource(list);
        list.Integer("repeats", "Repeats", m_nRepeats).Limits(0, INT32_MAX);
    }
    bool Analyse(UndoScope&) override {
        m_nCount = Document()->GetNumEvents(m_nChannel1);
        return !duringRun || duringRun(*Document());
    }

  private:
    int m_nCount = 0;
};

inline const Operation markOperation{
    "CTestOperation", "&Event/&Detect", "&Mark...", "Marks an event over the region",
    [] { return std::unique_ptr<CBatchBaseDlg>(std::make_unique<MarkOperation>()); }};
inline const Operation listOperation{
    "CListOperation", "&Event/&Analyse", "&List...", "Counts events",
    [] { return std::unique_ptr<CBatchBaseDlg>(std::make_unique<ListOperation>()); }};

}  // namespace kymora::test
