// Command lines that repeat what a window shows.

#include "catalogue/command_text.h"

#include "document/blank_doc.h"
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

}  // namespace
}  // namespace kymora::test
