#include "recording/acquisition_settings_fields.h"

#include <fmt/format.h>

#include "results/aligned_table.h"
#include "results/number_text.h"

namespace kymora {

namespace {

std::string ValueText(const SettingItem& item) {
    std::string text;
    std::visit(
        [&](const auto* value) {
            using T = std::decay_t<decltype(*value)>;
            if constexpr (std::is_same_v<T, std::string>)
                text = TerminalLine(*value);
            else if constexpr (std::is_same_v<T, bool>)
                text = *value ? "yes" : "no";
            else if constexpr (std::is_floating_point_v<T>)
                AppendNumber(text, *value);
            else if (item.isColour)
                text = ColourText(static_cast<uint32_t>(*value));
            else
                text = std::to_string(*value);
        },
        item.value);
    if (item.choices.empty() || !item.IsWithin()) return text;
    return fmt::format("{} ({})", text, item.choices[static_cast<size_t>(item.Number())]);
}

class JsonVisitor : public SettingVisitor {
  public:
    explicit JsonVisitor(JsonWriter& json) : json_(json) {}
    void Take(const SettingItem& item) override {
        json_.Key(item.name);
        if (item.isColour)
            json_.Value(ColourText(*std::get<uint32_t*>(item.value)));
        else
            std::visit([&](const auto* value) { json_.Value(*value); }, item.value);
    }
    void Enter(const std::string& group) override {
        json_.Key(group);
        // What holds no groups stands in one line.
        json_.BeginObject(group.starts_with("dac") ? JsonWriter::Form::lines : JsonWriter::Form::oneLine);
    }
    void Leave() override { json_.EndObject(); }

  private:
    JsonWriter& json_;
};

// The lines of a text, each below the other at the place where the first stands.
std::string Indented(std::string_view text) {
    std::string lines;
    while (true) {
        const size_t end = text.find('\n');
        lines += TerminalLine(text.substr(0, end));
        if (end == std::string_view::npos) return lines;
        text.remove_prefix(end + 1);
        lines += fmt::format("\n{:32}", "");
    }
}

// Values in lines; groups that have none within them as the rows of a table.
class TextVisitor : public SettingVisitor {
  public:
    void Take(const SettingItem& item) override {
        if (isRow_) {
            const bool isNumber = !item.IsText() && !item.isColour && item.choices.empty() &&
                                  !std::holds_alternative<bool*>(item.value);
            if (rows_.empty()) {
                alignment_ += isNumber ? 'r' : 'l';
                headings_.push_back(Heading(item));
            }
            row_.push_back(ValueText(item));
            return;
        }
        EndTable();
        std::string value = item.IsText() ? Indented(*std::get<std::string*>(item.value)) : ValueText(item);
        if (!item.unit.empty()) value += " " + std::string(item.unit);
        text_ += fmt::format("{:<32}{}", item.label, value);
        text_.erase(text_.find_last_not_of(' ') + 1);
        text_ += '\n';
    }
    void Enter(const std::string& group) override {
        if (group.starts_with("dac")) {
            EndTable();
            text_ += "\nOutput " + group.substr(3) + "\n";
            return;
        }
        const size_t digit = group.find_first_of("0123456789");
        if (group.substr(0, digit) != kind_) EndTable();
        kind_ = group.substr(0, digit);
        isRow_ = true;
        row_ = {group.substr(digit)};
    }
    void Leave() override {
        if (isRow_) rows_.push_back(std::move(row_));
        isRow_ = false;
    }
    std::string Finished() {
        EndTable();
        return std::move(text_);
    }

  private:
    static std::string Heading(const SettingItem& item) {
        std::string heading(item.label);
        if (!item.unit.empty()) heading += " (" + std::string(item.unit) + ")";
        return heading;
    }
    void EndTable() {
        if (!rows_.empty()) {
            AlignedTable table("r" + alignment_);
            headings_.insert(headings_.begin(), kind_ == "pulse" ? "Pulse" : "Channel");
            table.Add(std::move(headings_));
            for (auto& row : rows_) table.Add(std::move(row));
            text_ += "\n" + table.Text() + "\n";
        }
        kind_.clear();
        alignment_.clear();
        headings_.clear();
        rows_.clear();
    }

    std::string text_;
    std::string kind_, alignment_;
    std::vector<std::string> headings_, row_;
    std::vector<std::vector<std::string>> rows_;
    bool isRow_ = false;
};

}  // namespace

void WriteSettings(JsonWriter& json, const AcquisitionSettings& settings) {
    AcquisitionSettings copy = settings;
    json.Member("recordingType", static_cast<uint32_t>(settings.m_eRecordingType));
    json.Member("type", RecordingTypeWord(settings.m_eRecordingType));
    json.Member("typeName", RecordingTypeName(settings.m_eRecordingType));
    JsonVisitor visitor(json);
    VisitSettings(copy, visitor);
}

std::string SettingsText(const AcquisitionSettings& settings) {
    AcquisitionSettings copy = settings;
    TextVisitor visitor;
    VisitSettings(copy, visitor);
    const std::string_view name = RecordingTypeName(settings.m_eRecordingType);
    return fmt::format("{:<32}{}{}\n", "Recording type",
                       name.empty() ? std::string() : std::string(name) + ", ",
                       RecordingTypeWord(settings.m_eRecordingType)) +
           visitor.Finished();
}

}  // namespace kymora
