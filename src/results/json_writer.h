#pragma once
// Writes JSON as a stream: nothing is kept but the nesting, so that millions of values take no memory.

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

#include "results/output_sink.h"

namespace kymora {

class JsonWriter {
  public:
    // The sink outlives the writer. Objects and arrays that hold objects are indented; arrays of numbers
    // stand in one line.
    explicit JsonWriter(OutputSink& sink) : sink_(sink) {}
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    enum class Form { lines, oneLine };

    void BeginObject(Form form = Form::lines) { Open('{', form); }
    void EndObject() { Close('}'); }
    void BeginArray(Form form = Form::lines) { Open('[', form); }
    void EndArray() { Close(']'); }
    // The next value is this member of the object.
    void Key(std::string_view key);

    void Value(std::string_view text);
    void Value(const std::string& text) { Value(std::string_view(text)); }
    void Value(const char* text) { Value(std::string_view(text)); }
    void Value(bool truth);
    void Value(float number);   // null when it is not finite
    void Value(double number);  // null when it is not finite
    template <std::integral T>
    void Value(T number) {
        Integer(static_cast<int64_t>(number));
    }
    void Null();
    // A value that is JSON already, in one line.
    void Raw(std::string_view json);

    template <typename T>
    void Member(std::string_view key, const T& value) {
        Key(key);
        Value(value);
    }
    // A trace from 0, told from 1; null for none.
    void TraceNumber(std::string_view key, int slot) {
        Key(key);
        if (slot < 0)
            Null();
        else
            Value(slot + 1);
    }
    // How many objects and arrays are open, and the end of those beyond the first so many.
    size_t Depth() const { return levels_.size(); }
    void CloseTo(size_t depth);
    // Ends the text with a line end and hands all to the sink.
    void Finish();

  private:
    struct Level {
        Form form;
        char end;
        bool empty = true;
    };
    void Open(char bracket, Form form);
    void Close(char bracket);
    void BeforeValue();
    void NewLine();
    void Integer(int64_t number);
    void Quote(std::string_view text);
    void Spill();

    OutputSink& sink_;
    std::string text_;
    std::vector<Level> levels_;
    bool afterKey_ = false;
};

}  // namespace kymora
