#include "results/json_writer.h"

#include <cmath>

#include "archive/text_encoding.h"
#include "results/number_text.h"

namespace kymora {

void JsonWriter::Open(char bracket, Form form) {
    BeforeValue();
    text_ += bracket;
    // What stands in a line keeps all that it holds in that line.
    if (!levels_.empty() && levels_.back().form == Form::oneLine) form = Form::oneLine;
    levels_.push_back({form, bracket == '{' ? '}' : ']'});
}

void JsonWriter::CloseTo(size_t depth) {
    while (levels_.size() > depth) Close(levels_.back().end);
}

void JsonWriter::Close(char bracket) {
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.empty && level.form == Form::lines) NewLine();
    text_ += bracket;
    Spill();
}

void JsonWriter::NewLine() {
    text_ += '\n';
    text_.append(2 * levels_.size(), ' ');
}

void JsonWriter::BeforeValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (levels_.empty()) return;
    Level& level = levels_.back();
    if (!level.empty) text_ += level.form == Form::oneLine ? ", " : ",";
    if (level.form == Form::lines) NewLine();
    level.empty = false;
    Spill();
}

void JsonWriter::Key(std::string_view key) {
    BeforeValue();
    Quote(key);
    text_ += ": ";
    afterKey_ = true;
}

void JsonWriter::Raw(std::string_view json) {
    BeforeValue();
    text_ += json;
}

void JsonWriter::Value(std::string_view text) {
    BeforeValue();
    Quote(text);
}

void JsonWriter::Value(bool truth) {
    BeforeValue();
    text_ += truth ? "true" : "false";
}

void JsonWriter::Value(float number) {
    if (!std::isfinite(number)) return Null();
    BeforeValue();
    AppendNumber(text_, number);
}

void JsonWriter::Value(double number) {
    if (!std::isfinite(number)) return Null();
    BeforeValue();
    AppendNumber(text_, number);
}

void JsonWriter::Null() {
    BeforeValue();
    text_ += "null";
}

void JsonWriter::Integer(int64_t number) {
    BeforeValue();
    AppendNumber(text_, number);
}

void JsonWriter::Quote(std::string_view text) {
    static constexpr char hex[] = "0123456789abcdef";
    text_ += '"';
    for (const char c : ToDisplayText(text)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text_ += '\\';
            text_ += c;
        } else if (c == '\n') {
            text_ += "\\n";
        } else if (c == '\r') {
            text_ += "\\r";
        } else if (c == '\t') {
            text_ += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            text_ += "\\u00";
            text_ += hex[byte >> 4];
            text_ += hex[byte & 15];
        } else {
            text_ += c;
        }
    }
    text_ += '"';
}

void JsonWriter::Spill() {
    constexpr size_t enough = 1 << 14;
    if (text_.size() < enough) return;
    sink_.Write(text_);
    text_.clear();
}

void JsonWriter::Finish() {
    text_ += '\n';
    sink_.Write(text_);
    text_.clear();
}

}  // namespace kymora
