#pragma once
// A recording with events, operations run as anybody runs them, and what they have found.

#include "eventanalysis/event_analysis_fixture.h"
#include "operations/batch_base_dlg.h"
#include "support/operation_results.h"

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
};

}  // namespace kymora::test
