#include "kernels/trace_arithmetic.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "kernels/passes.h"

namespace kymora {

namespace {

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool IsNameCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// "x12", and not "xt" or "x1a".
bool IsTraceName(std::string_view name) {
    return name.size() > 1 && name[0] == 'x' && std::all_of(name.begin() + 1, name.end(), IsDigit);
}

// The names in an expression: of variables, functions and constants. The e of 1e5 is none.
std::vector<std::string_view> NamesIn(std::string_view text) {
    std::vector<std::string_view> names;
    for (size_t i = 0; i < text.size();) {
        if (!IsNameCharacter(text[i])) {
            ++i;
            continue;
        }
        size_t end = i;
        while (end < text.size() && IsNameCharacter(text[end])) ++end;
        if (!IsDigit(text[i])) names.push_back(text.substr(i, end - i));
        i = end;
    }
    return names;
}

std::string TraceName(size_t trace) { return fmt::format("x{}", trace + 1); }

}  // namespace

TraceArithmetic::TraceArithmetic(std::mt19937& random, int traceCount, double sampleInterval)
    : sampleInterval_(sampleInterval),
      values_(static_cast<size_t>(std::max(traceCount, 0))),
      expression_(random) {
    expression_.Bind("xt", time_);
    expression_.Bind("et", eventTime_);
    expression_.Bind("ed", eventDuration_);
    for (size_t trace = 0; trace < values_.size(); ++trace)
        expression_.Bind(TraceName(trace), values_[trace]);
}

std::string TraceArithmetic::FaultOfNames(std::string_view text) const {
    for (const std::string_view name : NamesIn(text)) {
        if (!IsTraceName(name)) continue;
        const size_t number =
            name.size() <= 4 ? static_cast<size_t>(std::stoi(std::string(name.substr(1)))) : 0;
        if (number >= 1 && number <= values_.size() && name == TraceName(number - 1)) continue;
        if (values_.size() == 1)
            return fmt::format("There is no trace {}: the recording has one trace, x1.", name);
        return fmt::format("There is no trace {}: the recording has {} traces, x1 to x{}.", name,
                           values_.size(), values_.size());
    }
    return {};
}

std::string TraceArithmetic::Parse(std::string_view text) {
    usedTraces_.clear();
    if (std::string fault = FaultOfNames(text); !fault.empty()) {
        expression_.Parse("");
        return fault;
    }
    if (std::string fault = expression_.Parse(text); !fault.empty()) return fault;
    for (const std::string& name : expression_.UsedNames())
        if (IsTraceName(name)) usedTraces_.push_back(std::stoi(name.substr(1)) - 1);
    std::sort(usedTraces_.begin(), usedTraces_.end());
    return {};
}

// Sample by sample: the parser's bulk mode spreads samples over threads, and random numbers are drawn in
// order.
void TraceArithmetic::Evaluate(int64_t from, std::span<const std::span<float>> samples,
                               std::span<float> output) {
    for (size_t i = 0; i < output.size(); ++i) {
        for (size_t n = 0; n < usedTraces_.size(); ++n)
            values_[static_cast<size_t>(usedTraces_[n])] = samples[n][i];
        time_ = static_cast<double>(from + static_cast<int64_t>(i)) * sampleInterval_;
        output[i] = static_cast<float>(expression_.Evaluate());
    }
}

void TraceArithmetic::Run(int64_t from, int64_t count, const TracesReader& read, FloatSink& sink) {
    constexpr auto block = static_cast<int64_t>(passBlock);
    std::vector<float> samples(usedTraces_.size() * block), results(block);
    std::vector<std::span<float>> columns(usedTraces_.size());
    for (int64_t at = 0; at < count; at += block) {
        const auto size = static_cast<size_t>(std::min(block, count - at));
        for (size_t n = 0; n < columns.size(); ++n) columns[n] = std::span(samples).subspan(n * block, size);
        if (!columns.empty()) read(from + at, usedTraces_, columns);
        const auto part = std::span(results).first(size);
        Evaluate(from + at, columns, part);
        sink.Write(part);
    }
}

void TraceArithmetic::Run(int64_t from, const TracesReader& read, std::span<float> output) {
    SpanSink sink(output);
    Run(from, static_cast<int64_t>(output.size()), read, sink);
}

}  // namespace kymora
