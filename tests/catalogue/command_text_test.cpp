// Command lines that repeat what a window shows.

#include "catalogue/command_text.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "document/blank_doc.h"
#include "operations/settings_json.h"
#include "support/operation_results.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

TEST(CommandTextTest, QuotesWhatAShellWouldTakeApart) {
    EXPECT_EQ(ShellWord("on=2.5"), "on=2.5");
    EXPECT_EQ(ShellWord("a b"), "'a b'");
    EXPECT_EQ(ShellWord("it's"), "'it'\\''s'");
    EXPECT_EQ(ShellWord(""), "''");
    EXPECT_EQ(ShellWord("a*t"), "'a*t'");
}

// The words behind --set, as the shell hands them over.
std::vector<std::string> SettingsOf(const std::string& text) {
    std::vector<std::string> words{""};
    bool isQuoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'')
            isQuoted = !isQuoted;
        else if (text[i] == '\\' && !isQuoted)
            words.back() += text[++i];
        else if (text[i] == ' ' && !isQuoted)
            words.emplace_back();
        else
            words.back() += text[i];
    }
    std::vector<std::string> settings;
    for (size_t i = 0; i + 1 < words.size(); ++i)
        if (words[i] == "--set") settings.push_back(words[i + 1]);
    return settings;
}

struct CommandTextSession : SessionTest {};

// Every operation of the table, with each of its parameters changed where it can be.
TEST_F(CommandTextSession, LeadsToTheSameParameters) {
    const auto doc =
        MemoryDoc::Make(session, {std::vector<float>(5000, 1.0f), std::vector<float>(5000, 2.0f)});
    doc->filePath = "/two words.kymr-dat";
    BlankDoc blank(session);
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.className);
        const auto block = operation.make();
        CDataDoc* at = block->NeedsRecording() ? static_cast<CDataDoc*>(doc.get()) : &blank;
        block->CheckChangeDoc(at);
        std::vector<std::string> keys;
        for (const Field& field : block->Params()) keys.push_back(field.key);
        for (const std::string& key : keys) {
            ParamList params = block->Params();
            Field* field = params.Find(key);
            if (!field || !field->HasValue()) continue;
            const std::string before = field->ValueText();
            if (field->kind == FieldKind::flag)
                field->SetFromText(field->flag ? "0" : "1");
            else if (field->IsNumeric())
                field->SetFromText(std::to_string(static_cast<int>(field->number) + 2));
            else if (field->kind == FieldKind::text && field->enabled == nullptr &&
                     key.find("quation") != std::string::npos)
                field->SetFromText("a + b*exp(-t/c)");
        }
        const std::string text = CommandText(operation, *block);
        EXPECT_TRUE(text.starts_with("kymora run " + std::string(operation.className))) << text;
        EXPECT_EQ(text.find("/two words"),
                  block->NeedsRecording() ? text.find("'/two words") + 1 : std::string::npos);
        const auto again = operation.make();
        again->CheckChangeDoc(at);
        for (const std::string& setting : SettingsOf(text)) {
            const size_t equals = setting.find('=');
            ParamList params = again->Params();
            Field* field = params.Find(setting.substr(0, equals));
            ASSERT_NE(field, nullptr) << setting;
            EXPECT_EQ(field->SetFromText(setting.substr(equals + 1)), "") << setting;
        }
        ParamList wanted = block->Params(), got = again->Params();
        for (const Field& field : wanted) {
            if (!field.HasValue() || field.key == "newFile" || !field.IsEnabled(wanted)) continue;
            // What is seen is told by its times.
            if (field.key.starts_with("region") && wanted.Find("region")->choice == 1) continue;
            EXPECT_EQ(got.Find(field.key)->ValueText(), field.ValueText()) << field.key << "\n" << text;
        }
    }
}

using KeyValues = std::vector<std::pair<std::string, std::string>>;

KeyValues Split(const std::vector<std::string>& settings) {
    KeyValues all;
    for (const std::string& setting : settings) {
        const size_t equals = setting.find('=');
        all.emplace_back(setting.substr(0, equals), setting.substr(equals + 1));
    }
    return all;
}

// The member "settings" of a run's JSON, as the texts that --set takes.
KeyValues PrintedSettings(CBatchBaseDlg& block) {
    struct Text : OutputSink {
        void Write(std::string_view piece) override { text += piece; }
        std::string text;
    } sink;
    JsonWriter json(sink);
    WriteUsedSettings(json, block);
    json.Finish();
    KeyValues all;
    const auto printed = nlohmann::ordered_json::parse(sink.text);
    for (const auto& [key, value] : printed.items())
        all.emplace_back(key, value.is_string() ? value.get<std::string>() : value.dump());
    return all;
}

void SetAll(CBatchBaseDlg& block, const KeyValues& settings) {
    for (const auto& [key, value] : settings) SetParameter(block, key.c_str(), value);
}

// Both lead to the very digits, whatever the fit has left in the window.
TEST_F(CommandTextSession, FitsGiveTheSameResultAgain) {
    std::vector<float> samples;
    std::string table, points;
    for (int i = 0; i < 600; ++i) {
        const double t = 0.3 * i, noise = 0.01 * ((i * 37) % 11 - 5);
        const double value = 2.0 + 5.0 * std::exp(-t / 30.0) + 3.0 * std::exp(-t / 7.0) + noise;
        samples.push_back(static_cast<float>(value));
        table += fmt::format("{}\t{}\n", (i * 7) % 600, value);
        if (i < 60) points += fmt::format("{} {}\n", t, value);
    }
    const auto doc = MemoryDoc::Make(session, {samples, samples}, 0.3);
    doc->filePath = "/one.kymr-dat";
    for (const int on : {20, 150, 300}) {
        CEventKM event;
        event.onPosition = on;
        event.offPosition = on + 100;
        doc->eventChannels[1].AppendLoaded(std::move(event));
    }
    BlankDoc blank(session);
    PutText("/t.txt", table);
    const struct {
        const char* name;
        KeyValues settings;
        KeyValues after = {};  // set when the fit is done, before a second one
    } rows[] = {
        {"CCurveFit", {}},
        {"CCurveFit", {{"trace", "2"}, {"region", "2"}, {"regionEnd", "61.2"}, {"regionStart", "10.1"}}},
        {"CCurveFit", {{"ready", "2"}, {"damping", "1"}}},
        {"CCurveFit", {{"ready", "3"}, {"damping", "1"}, {"fixed", "a"}, {"limits", "c>0"}}},
        {"CCurveFit", {{"ready", "2"}, {"a", "1"}, {"b", "4"}, {"c", "11"}}},
        {"CCurveFit", {{"ready", "2"}}, {{"guess", "0"}}},
        {"CCurveFit", {{"ready", "2"}}, {{"c", "12.5"}}},
        {"CCurveFit",
         {{"equation", "a + b*exp(-t/c)"}, {"c", "10"}, {"maxIter", "3"}, {"damping", "1"}},
         {{"maxIter", "4"}}},
        {"CCurveFit", {{"ready", "2"}, {"eachEvent", "1"}, {"channel1", "b"}}},
        {"CCurveFitGen", {{"file", "/t.txt"}, {"equation", "a + b*x + c*x^2"}}},
        {"CCurveFitGen",
         {{"file", "/t.txt"}, {"sort", "1"}, {"ready", "1"}, {"columnX", "2"}, {"columnY", "1"}}},
        {"CCurveFitGen", {{"points", points}, {"ready", "2"}, {"dataSD", "0.03"}, {"testX", "3"}}},
        {"CCurveFitGen", {{"points", points}, {"ready", "3"}, {"damping", "1"}}, {{"equation", "a + b*x"}}},
        {"CFitTimeConst", {{"fitStart", "0.1"}, {"fitEnd", "100.7"}, {"avgTime", "3.3"}}},
        {"CFitTimeConst", {{"fitEnd", "170"}, {"model", "1"}}, {{"maxIter", "60"}}},
        {"CFitTimeConst", {{"fitEnd", "170"}, {"model", "2"}, {"fixV0", "1"}, {"v0", "9.5"}}},
        {"CFitTimeConst", {{"fitEnd", "170"}, {"tau", "12.3"}, {"v0", "9"}}, {{"tau", "33"}}},
        {"CTimeConstLog", {{"channel1", "b"}, {"fitEnd", "40"}, {"averages", "3"}, {"startAvg", "2.7"}}},
        {"CTimeConstLog", {{"channel1", "b"}, {"fitEnd", "40"}, {"batch", "1"}, {"startEvent", "2"}}},
        {"CRobustFitGen", {{"file", "/t.txt"}, {"type", "1"}, {"degree", "4"}, {"iterations", "3"}}},
        {"CRobustFitGen", {{"points", points}, {"type", "0"}, {"halfWindow", "5"}, {"threshold", "4.5"}}}};
    for (const auto& [name, settings, after] : rows) {
        const Operation* operation = FindOperation(name);
        ASSERT_NE(operation, nullptr) << name;
        const auto block = operation->make();
        CDataDoc* at = block->NeedsRecording() ? static_cast<CDataDoc*>(doc.get()) : &blank;
        block->CheckChangeDoc(at);
        SetAll(*block, settings);
        for (int round = 0; round < 2; ++round) {
            SCOPED_TRACE(
                fmt::format("{} {} round {}", name, settings.empty() ? "" : settings.back().second, round));
            if (round == 1) SetAll(*block, after);
            // A second fit goes on where the first one has ended.
            std::vector<KeyValues> all;
            if (round == 0) all.push_back(Split(SettingsOf(CommandText(*operation, *block))));
            ASSERT_TRUE(block->Run()) << host.LastMessage();
            const std::string found = ResultText(*block);
            all.push_back(Split(SettingsOf(CommandText(*operation, *block))));
            all.push_back(PrintedSettings(*block));
            for (const KeyValues& printed : all) {
                const auto again = operation->make();
                again->CheckChangeDoc(at);
                SetAll(*again, printed);
                ASSERT_TRUE(again->Run()) << host.LastMessage();
                EXPECT_EQ(ResultText(*again), found);
                const auto results = block->Results(), repeated = again->Results();
                ASSERT_EQ(repeated.size(), results.size());
                for (size_t i = 0; i < results.size(); ++i) {
                    EXPECT_EQ(repeated[i].values, results[i].values);
                    EXPECT_EQ(RowsOf(repeated[i]), RowsOf(results[i])) << results[i].name;
                }
            }
        }
    }
}

}  // namespace
}  // namespace kymora::test
