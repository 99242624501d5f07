// What holds for every operation of the table.

#include "catalogue/operations.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>

#include "catalogue/config_operation.h"
#include "catalogue/operation_reference.h"
#include "host/memory_file_system.h"
#include "operations/config_file.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

bool IsKey(const std::string& key) {
    return !key.empty() && key[0] >= 'a' && key[0] <= 'z' &&
           std::all_of(key.begin(), key.end(), [](unsigned char c) { return std::isalnum(c) != 0; });
}

TEST(OperationTableTest, NamesAreFoundAndAreTheOperations) {
    std::set<std::string> names;
    for (const Operation& operation : Operations()) {
        EXPECT_EQ(operation.make()->ClassName(), operation.className);
        for (const std::string& name : {std::string(operation.className), operation.KebabName()}) {
            EXPECT_TRUE(names.insert(name).second) << name;
            EXPECT_EQ(FindOperation(name), &operation) << name;
        }
    }
    EXPECT_EQ(FindOperation("CNothing"), nullptr);
}

TEST(OperationTableTest, VariantsOfTheMenuAndOlderNames) {
    std::set<std::string> ids, letters;
    for (const OperationEntry& entry : EntriesOf(Operations())) {
        SCOPED_TRACE(entry.Id());
        const std::string label(entry.Label());
        if (const size_t at = label.find('&'); at != std::string::npos) {
            EXPECT_TRUE(
                letters.insert(fmt::format("{}/{}", entry.operation->menu, std::tolower(label[at + 1])))
                    .second);
        }
        EXPECT_TRUE(ids.insert(entry.Id()).second);
        EXPECT_EQ(FindOperationEntry(entry.Id()).operation, entry.operation);
        EXPECT_EQ(FindOperationEntry(entry.Id()).variant, entry.variant);
        EXPECT_NE(entry.ToolTip(), "");
        EXPECT_EQ(entry.operation->make()->OlderClassName(), entry.operation->olderName);
        if (!entry.variant) continue;
        const auto block = entry.operation->make();
        ParamList params = block->Params();
        Field* param = params.Find(entry.variant->key);
        ASSERT_NE(param, nullptr);
        EXPECT_EQ(param->SetFromText(entry.variant->value), "");
        EXPECT_EQ(param->ValueText(), entry.variant->value);
    }
    EXPECT_EQ(FindOperationEntry("moving-median").variant->value, "1");
    EXPECT_EQ(FindOperationEntry("gen-smooth").operation, nullptr) << "only its variants stand in the menu";
    ASSERT_NE(FindOperation("CTeagerEnergyOperator"), nullptr);
    EXPECT_EQ(FindOperation("CTeagerEnergyOperator")->className, "CLocalEnergy");
}

TEST(OperationTableTest, KebabNames) {
    for (const auto& [name, kebab] : {std::pair{"CGenSmooth", "gen-smooth"},
                                      {"CDigitalFIR", "digital-fir"},
                                      {"CFilterRCDlg", "filter-rc-dlg"},
                                      {"LoadEventChannel", "load-event-channel"}})
        EXPECT_EQ(Operation{.className = name}.KebabName(), kebab);
}

// Every default is within its limits, is taken back as the text that it is told as, and is kept by a record.
TEST(OperationTableTest, ParametersOfAFreshBlock) {
    for (const Operation& operation : Operations()) {
        const auto block = operation.make();
        std::set<std::string> keys;
        ParamList params = block->Params();
        for (Field& param : params) {
            SCOPED_TRACE(std::string(operation.className) + " " + param.key);
            EXPECT_TRUE(IsKey(param.key));
            EXPECT_TRUE(keys.insert(param.key).second) << "twice";
            for (const std::string& alias : param.aliases)
                EXPECT_TRUE(IsKey(alias) && keys.insert(alias).second) << alias;
            EXPECT_NE(param.label, "");
            if (!param.HasValue()) continue;
            EXPECT_EQ(param.Fault(), "");
            const std::string value = param.ValueText();
            EXPECT_EQ(param.SetFromText(value), "");
            EXPECT_EQ(param.ValueText(), value);
        }
        for (const Field& param : params)
            for (const std::string& key : param.linked) EXPECT_TRUE(keys.count(key)) << key;
        const auto record = operation.make()->Settings();
        const auto again = operation.make();
        again->TakeSettings(record);
        EXPECT_EQ(again->Settings(), record);
    }
}

// A window over an open recording takes the settings of what works on one, by what the operation is.
TEST(OperationTableTest, ConfigurationsAreForWindowsOverARecording) {
    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(std::string(operation.className));
        const auto block = operation.make();
        const bool makesRecording = block->WhatItAffects() == Affects::newRecording;
        ASSERT_TRUE(SaveConfig(session, *block, "/some.kymr-cfg"));
        host.Forget();
        EXPECT_EQ(OperationOfConfig(session, "/some.kymr-cfg"), makesRecording ? nullptr : &operation);
        EXPECT_EQ(host.LastMessage(),
                  makesRecording ? fmt::format(newRecordingConfigText, "some.kymr-cfg", operation.className)
                                 : "");
    }
    EXPECT_EQ(OperationOfConfig(session, "/none.kymr-cfg"), nullptr);
    EXPECT_NE(host.LastMessage().find("none.kymr-cfg"), std::string::npos);
}

// Whether another value of a parameter comes back from a record.
bool IsKept(const Operation& operation, const std::string& key) {
    const auto changed = operation.make();
    ParamList params = changed->Params();
    Field& param = *params.Find(key);
    param.changed = nullptr;
    const std::string before = param.ValueText();
    for (const char* other : {"7.5", "0.1", "9", "true", "1", "b", "2", "3", "false", "0", "#102030", "300"})
        if (param.SetFromText(other).empty() && param.ValueText() != before) break;
    EXPECT_NE(param.ValueText(), before) << "no other value is taken";
    const auto loaded = operation.make();
    loaded->TakeSettings(changed->Settings());
    return loaded->Params().Find(key)->ValueText() == param.ValueText();
}

// What the record of an operation forgets, a batch would run with its default. Of two parameters that follow
// each other, as a time and its samples do, one is enough.
TEST(OperationTableTest, RecordsHoldEveryParameter) {
    for (const Operation& operation : Operations()) {
        const auto block = operation.make();
        ParamList params = block->Params();
        for (const Field& param : params) {
            const bool hasOneValue = param.kind == FieldKind::choice && param.choices.size() < 2;
            // A file from elsewhere must not run programs.
            const bool isProgram = operation.className == "CClusterCtrl" && param.key == "command";
            if (!param.HasValue() || hasOneValue || isProgram) continue;
            bool isKept = IsKept(operation, param.key);
            for (const std::string& key : param.linked) {
                const auto& back = params.Find(key)->linked;
                if (std::find(back.begin(), back.end(), param.key) != back.end())
                    isKept = isKept || IsKept(operation, key);
            }
            EXPECT_TRUE(isKept) << operation.className << " " << param.key;
        }
    }
}

TEST(OperationTableTest, TheDocumentationIsThatOfTheTable) {
    std::ifstream file(std::string(KYMORA_DOCS) + "/operations.md", std::ios::binary);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    EXPECT_TRUE(page == OperationReference(Operations())) << "scripts/reference writes it anew";
}

}  // namespace
}  // namespace kymora::test
