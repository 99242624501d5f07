#include "transforms/arbitrary_arith.h"

#include <fmt/format.h>

#include "document/native_writer.h"
#include "transforms/eqn_test_dialog.h"

namespace kymora {

namespace {

constexpr uint32_t arithVersion = 1;

// Traces as expressions see them: 0 in gaps and outside the recording, of which the flags tell.
class TraceColumns {
  public:
    explicit TraceColumns(CDataDoc& doc) : doc_(doc) {}

    void operator()(int64_t from, std::span<const int> traces, std::span<const std::span<float>> to) {
        valid_.resize(traces.size() * passBlock);
        blocks_.clear();
        for (size_t n = 0; n < traces.size(); ++n)
            blocks_.push_back({traces[n], to[n], std::span(valid_).subspan(n * passBlock, to[n].size())});
        doc_.ReadBlocks(from, blocks_);
        for (const TraceBlock& block : blocks_)
            for (size_t i = 0; i < block.values.size(); ++i)
                if (block.valid[i] == 0) block.values[i] = 0.0f;
    }

  private:
    CDataDoc& doc_;
    std::vector<uint8_t> valid_;
    std::vector<TraceBlock> blocks_;
};

class PolledSink : public FloatSink {
  public:
    PolledSink(FloatSink& sink, const KernelPoll& goOn) : sink_(sink), goOn_(goOn) {}
    void Write(std::span<const float> values) override {
        sink_.Write(values);
        done_ += static_cast<int64_t>(values.size());
        if (goOn_ && !goOn_(done_)) throw Cancelled();
    }

  private:
    FloatSink& sink_;
    const KernelPoll& goOn_;
    int64_t done_ = 0;
};

}  // namespace

void CArbitraryArith::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, arithVersion, ClassName());
    Exchange(archive, m_strExpression);
}

std::string CArbitraryArith::VariablesText() const {
    const int count = Document() ? Document()->traceCount : 0;
    const std::string traces = count == 1  ? "x1"
                               : count > 1 ? fmt::format("x1 to x{}", count)
                                           : "x1, x2, ...";
    return traces + " (traces), xt (time in ms)";
}

void CArbitraryArith::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Expression");
    list.Text("expression", "Expression", m_strExpression)
        .Tip("The value of each sample, for example x1 - x2 or abs(x1) + rndn(0, 0.1)");
    list.Note("variables", "Variables", [this] { return VariablesText(); });
    list.Action("test", "Test...",
                [this] {
                    if (Document()) AskEqnTest(Document()->GetSession());
                })
        .Tip("Try an expression, and see the list of functions")
        .EnabledIf([this] { return Document() != nullptr; });
    DescribeOutput(list);
}

std::string CArbitraryArith::CheckSettings() {
    if (std::string fault = CTransformTraceDlg::CheckSettings(); !fault.empty()) return fault;
    if (!Document()) return {};
    // To try an expression draws nothing.
    std::mt19937 trial = Document()->GetSession().random;
    return TraceArithmetic(trial, Document()->traceCount, Document()->sampleInterval).Parse(m_strExpression);
}

void CArbitraryArith::GetParamText(std::string& text) {
    text += "Arithmetic transform parameters:\r\n";
    CTransformTraceDlg::GetParamText(text);
    text += fmt::format("Expression: {}\r\n", m_strExpression);
}

std::string CArbitraryArith::ResultLabel(const std::string& label) const {
    const bool isThere = m_nAddMode == replaceTraces && label.find(m_strExpression) != std::string::npos;
    return !IsAttended() || isThere ? label : m_strExpression;
}

KernelOutcome CArbitraryArith::Compute(const TransformRun& run, FloatSink& output) {
    TraceArithmetic arithmetic(run.random, run.doc.traceCount, run.Interval());
    m_strFault = arithmetic.Parse(m_strExpression);
    if (!m_strFault.empty()) return KernelOutcome::Failure(m_strFault.c_str());
    PolledSink sink(output, run.goOn);
    arithmetic.Run(run.start, run.count, TraceColumns(run.doc), sink);
    return {};
}

KernelOutcome CArbitraryArith::TransformBlock(const TransformRun& run, std::span<const float>,
                                              std::span<float> output) {
    SpanSink sink(output);
    return Compute(run, sink);
}

KernelOutcome CArbitraryArith::TransformBlock(const TransformRun& run, const SourceMaker&,
                                              FloatSink& output) {
    return Compute(run, output);
}

}  // namespace kymora
