#include "catalogue/command_text.h"

#include <algorithm>

#include "operations/event_base_dlg.h"

namespace kymora {

namespace {

constexpr int mostPasses = 4;  // parameters that move others
// Said by the way of keeping the result.
constexpr std::string_view newFileKey = "newFile";

struct Setting {
    std::string key, value;
};

// A block on the recording with the settings of a record, as the terminal has it.
std::unique_ptr<CBatchBaseDlg> MakeOn(const Operation& operation, CDataDoc* doc,
                                      const std::vector<std::byte>& record, RunMessages& unheard) {
    auto block = operation.make();
    block->SendMessagesTo(&unheard);
    if (!record.empty()) block->TakeSettings(record);
    block->SettingsWereChosen();
    block->CheckChangeDoc(doc);
    return block;
}

bool Matters(const Field& field) { return field.HasValue() && field.key != newFileKey; }

// Sets what differs, and notes it.
bool SetDifferent(CBatchBaseDlg& to, const ParamList& wanted, std::vector<Setting>& settings) {
    bool isSame = true;
    for (const Field& field : wanted) {
        if (!Matters(field)) continue;
        ParamList params = to.Params();
        Field* own = params.Find(field.key);
        const std::string value = field.ValueText();
        if (!own || own->ValueText() == value || !own->SetFromText(value).empty()) continue;
        isSame = false;
        std::erase_if(settings, [&](const Setting& earlier) { return earlier.key == field.key; });
        settings.push_back({field.key, value});
    }
    return isSame;
}

// The times of what is seen in the place of that, where the operation can be told them.
void SetSeenRegion(CBatchBaseDlg& wanted, CBatchBaseDlg& repeated) {
    for (const char* key : {"regionStart", "regionEnd", "region"}) {
        ParamList params = wanted.Params(), given = repeated.Params();
        Field* field = params.Find(key);
        if (field && given.Find(key)) field->SetFromText(given.Find(key)->ValueText());
    }
}

std::vector<Setting> DifferentSettings(const Operation& operation, CBatchBaseDlg& block) {
    RunMessages unheard;
    CDataDoc* doc = block.Document();
    const auto wanted = MakeOn(operation, doc, block.UsedSettings(), unheard);
    ParamList params = wanted->Params();
    const Field* region = params.Find("region");
    if (doc && region && region->choice == regionVisible)
        if (const auto record = block.RepeatSettings(); !record.empty())
            SetSeenRegion(*wanted, *MakeOn(operation, doc, record, unheard));
    std::vector<Setting> settings;
    for (int pass = 0; pass < mostPasses; ++pass) {
        const auto fresh = MakeOn(operation, doc, {}, unheard);
        for (const Setting& setting : settings) {
            ParamList params = fresh->Params();
            params.Find(setting.key)->SetFromText(setting.value);
        }
        if (SetDifferent(*fresh, wanted->Params(), settings)) break;
    }
    return settings;
}

const char* WayOfKeeping(CBatchBaseDlg& block) {
    switch (block.WhatItAffects()) {
    case Affects::nothing:
        return "";
    case Affects::newRecording:
        return " -o new.kymr-dat";
    default:
        break;
    }
    ParamList params = block.Params();
    const Field* newFile = params.Find(newFileKey);
    return newFile && newFile->flag ? " --write-new" : " --in-place";
}

}  // namespace

std::string ShellWord(std::string_view text) {
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,:@%";
    if (!text.empty() && text.find_first_not_of(plain) == std::string_view::npos) return std::string(text);
    std::string word = "'";
    for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

std::string CommandText(const Operation& operation, CBatchBaseDlg& block) {
    std::string text = "kymora run " + std::string(operation.className);
    const CDataDoc* doc = block.Document();
    if (doc && block.NeedsRecording()) {
        text += " " + ShellWord(doc->filePath.string());
        for (const auto& [key, value] : doc->ToReopen().settings)
            text += " --import " + ShellWord(key + "=" + value);
    }
    for (const Setting& setting : DifferentSettings(operation, block))
        text += " --set " + ShellWord(setting.key + "=" + setting.value);
    if (doc && doc->GetSession().seed != 0) text += " --seed " + std::to_string(doc->GetSession().seed);
    return text + WayOfKeeping(block);
}

}  // namespace kymora
