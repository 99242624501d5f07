#include "results/result_output.h"

#include <cmath>

#include "archive/text_encoding.h"
#include "results/number_text.h"

namespace kymora {

namespace {

struct JsonValue {
    JsonWriter& json;
    void operator()(std::monostate) const { json.Null(); }
    template <typename T>
    void operator()(const T& value) const {
        json.Value(value);
    }
};

// Cells that hold a separator, a quote or a line end stand in quotes.
std::string CsvText(const std::string& text) {
    const std::string shown = ToDisplayText(text);
    if (shown.find_first_of(",\"\r\n") == std::string::npos) return shown;
    std::string quoted = "\"";
    for (const char c : shown) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

struct CsvCell {
    std::string& line;
    void operator()(std::monostate) const {}
    void operator()(int64_t value) const { AppendNumber(line, value); }
    void operator()(const std::string& text) const { line += CsvText(text); }
    template <typename T>
    void operator()(T value) const {
        if (std::isfinite(value)) AppendNumber(line, value);
    }
};

class CsvLines {
  public:
    CsvLines(OutputSink& sink, const std::string& file) : sink_(sink), file_(file) {}

    void Heading(std::span<const ResultColumn> columns) {
        Begin("File");
        for (const ResultColumn& column : columns)
            Cell(column.unit.empty() ? column.name : column.name + " (" + column.unit + ")");
        End();
    }
    void Row(std::span<const ResultValue> values) {
        Begin(file_);
        for (const ResultValue& value : values) Cell(value);
        End();
    }
    void Empty() { sink_.Write("\r\n"); }

  private:
    void Begin(const std::string& first) {
        line_.clear();
        isFirst_ = true;
        if (!file_.empty()) Cell(first);
    }
    void Cell(const ResultValue& value) {
        if (!isFirst_) line_ += ',';
        isFirst_ = false;
        std::visit(CsvCell{line_}, value);
    }
    void End() {
        line_ += "\r\n";
        sink_.Write(line_);
    }

    OutputSink& sink_;
    const std::string& file_;
    std::string line_;
    bool isFirst_ = true;
};

}  // namespace

bool WriteJson(JsonWriter& json, std::span<const Result> results, const std::function<bool()>& goOn) {
    bool isWhole = true;
    json.BeginArray(JsonWriter::Form::oneLine);
    for (const Result& result : results) {
        json.BeginObject();
        json.Member("name", result.name);
        json.Key("values");
        json.BeginObject();
        for (const auto& [name, value] : result.values) {
            json.Key(name);
            std::visit(JsonValue{json}, value);
        }
        json.EndObject();
        json.Key("columns");
        json.BeginArray();
        for (const ResultColumn& column : result.columns) {
            json.BeginObject();
            json.Member("name", column.name);
            json.Member("unit", column.unit);
            json.EndObject();
        }
        json.EndArray();
        json.Key("rows");
        json.BeginArray();
        if (result.rows && isWhole)
            isWhole = result.rows([&](std::span<const ResultValue> row) {
                json.BeginArray();
                for (const ResultValue& value : row) std::visit(JsonValue{json}, value);
                json.EndArray();
                return goOn();
            });
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();
    return isWhole;
}

bool WriteCsv(OutputSink& sink, std::span<const Result> results, const CsvPart& part,
              const std::function<bool()>& goOn) {
    CsvLines lines(sink, part.file);
    const bool hasHeadings = part.hasHeadings || results.size() > 1;
    for (size_t i = 0; i < results.size(); ++i) {
        if (i > 0) lines.Empty();
        const Result& result = results[i];
        if (!result.rows) {
            std::vector<ResultColumn> names;
            std::vector<ResultValue> values;
            for (const auto& [name, value] : result.values) {
                names.push_back({name, {}});
                values.push_back(value);
            }
            if (hasHeadings) lines.Heading(names);
            lines.Row(values);
            continue;
        }
        if (hasHeadings) lines.Heading(result.columns);
        const bool isWhole = result.rows([&](std::span<const ResultValue> row) {
            lines.Row(row);
            return goOn();
        });
        if (!isWhole) return false;
    }
    return true;
}

}  // namespace kymora
