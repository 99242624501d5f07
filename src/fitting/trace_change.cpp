#include "fitting/trace_change.h"

namespace kymora {

namespace {

constexpr size_t changedAtOnce = 1 << 15;  // samples

}  // namespace

TraceChange::TraceChange(CBatchBaseDlg& owner, std::string name, std::vector<std::byte> record)
    : CTransformTraceDlg(std::move(name)), owner_(owner), record_(std::move(record)) {
    SendMessagesAs(owner);
    CheckChangeDoc(owner.Document());
    CheckChangeView(owner.View());
}

// What is added to a trace without a label has got a star alone.
std::string TraceChange::ResultLabel(const std::string& label) const {
    return label.find_first_not_of(" *") == std::string::npos ? emptyLabel : label + m_strName;
}

KernelOutcome TraceChange::TransformBlock(const TransformRun& run, std::span<const float> input,
                                          std::span<float> output) {
    const Change& change = changes.at(run.trace);
    for (size_t at = 0; at < input.size(); at += changedAtOnce) {
        const size_t count = std::min(changedAtOnce, input.size() - at);
        change(run.start + static_cast<int64_t>(at), input.subspan(at, count), output.subspan(at, count),
               run.random);
        run.goOn(static_cast<int64_t>(at + count));
    }
    return {};
}

KernelOutcome TraceChange::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                          FloatSink& output) {
    const Change& change = changes.at(run.trace);
    const auto reader = source();
    std::vector<float> from(changedAtOnce), to(changedAtOnce);
    for (int64_t at = run.start;;) {
        const size_t count = reader->Read(from);
        if (count == 0) return {};
        change(at, std::span(from).first(count), std::span(to).first(count), run.random);
        output.Write(std::span(to).first(count));
        at += static_cast<int64_t>(count);
    }
}

WrittenRecording TraceChange::Write(CArchive& archive, const std::filesystem::path& target) {
    m_strTraceList.clear();
    for (const auto& [trace, change] : changes)
        m_strTraceList += (m_strTraceList.empty() ? "" : " ") + std::to_string(trace + 1);
    return WriteRecording(archive, target);
}

}  // namespace kymora
