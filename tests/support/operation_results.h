#pragma once
// What an operation is set to and what it has found, as tests ask for it.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "operations/batch_base_dlg.h"

namespace kymora::test {

using ResultRows = std::vector<std::vector<ResultValue>>;

inline ResultRows RowsOf(const Result& result) {
    ResultRows rows;
    if (result.rows)
        result.rows([&](std::span<const ResultValue> row) {
            rows.emplace_back(row.begin(), row.end());
            return true;
        });
    return rows;
}

// Of the tables with this name.
inline ResultRows RowsOf(CBatchBaseDlg& operation, std::string_view name) {
    ResultRows rows;
    for (const Result& result : operation.Results())
        if (result.name == name) std::ranges::move(RowsOf(result), std::back_inserter(rows));
    return rows;
}

inline std::string ResultText(CBatchBaseDlg& operation) {
    std::string text;
    operation.WriteResult([&](std::string_view piece) {
        text += piece;
        return true;
    });
    return text;
}

inline void SetParameter(CBatchBaseDlg& operation, const char* key, const std::string& value) {
    ParamList params = operation.Params();
    ASSERT_NE(params.Find(key), nullptr) << key;
    ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
}

}  // namespace kymora::test
