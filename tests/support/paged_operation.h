#pragma once
// An operation whose parameters stand on two pages.

#include "catalogue/operations.h"

namespace kymora::test {

class PagedOperation : public CBatchBaseDlg {
  public:
    const char* ClassName() const override { return "CPagedOperation"; }
    const char* Title() const override { return "Paged operation"; }
    void GetParamText(std::string&) override {}

    double m_dLow = 1.0, m_dHigh = 2.0;
    int32_t m_nCount = 3;
    int runs = 0;

  protected:
    void Describe(ParamList& list) override {
        list.Page("Levels",
                  [this] { return std::string(m_dHigh > m_dLow ? "" : "The levels are reversed."); });
        list.Number("low", "Low", m_dLow).Limits(0, 10);
        list.Number("high", "High", m_dHigh).Limits(0, 10);
        list.Page("Count");
        list.Integer("count", "Count", m_nCount).Limits(1, 9);
    }
    bool Analyse(UndoScope&) override { return ++runs > 0; }
};

inline const Operation pagedOperation{
    "CPagedOperation", "&Test", "&Pages...", "Goes from page to page",
    [] { return std::unique_ptr<CBatchBaseDlg>(std::make_unique<PagedOperation>()); }};

}  // namespace kymora::test
