#pragma once
// A recording with events, operations run as anybody runs them, and what they have found.

#include "eventanalysis/event_analysis_fixture.h"
#include "operations/batch_base_dlg.h"

namespace kymora::test {

struct SortingTest : EventAnalysisTest {
    using Settings = std::vector<std::pair<const char*, std::string>>;

    // What the run was refused for, or empty.
    std::string Run(CBatchBaseDlg& operation, const Settings& settings) {
        operation.CheckChangeDoc(doc.get());
        for (const auto& [key, text] : settings) {
            ParamList params = operation.Params();
            Field* field = params.Find(key);
            if (!field) return std::string("no key ") + key;
            EXPECT_EQ(field->SetFromText(text), "") << key;
        }
        host.Forget();
        if (operation.Run()) return {};
        return host.messages.empty() ? "refused without a word" : host.LastMessage();
    }
    static std::vector<std::vector<ResultValue>> Rows(CBatchBaseDlg& operation, std::string_view name) {
        std::vector<std::vector<ResultValue>> rows;
        for (const Result& result : operation.Results())
            if (result.name == name)
                result.rows([&](std::span<const ResultValue> row) {
                    rows.emplace_back(row.begin(), row.end());
                    return true;
                });
        return rows;
    }
    static std::string Text(CBatchBaseDlg& operation) {
        std::string text;
        operation.WriteResult([&](std::string_view piece) {
            text += piece;
            return true;
        });
        return text;
    }
};

}  // namespace kymora::test
