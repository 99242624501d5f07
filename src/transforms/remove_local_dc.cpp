#include "transforms/remove_local_dc.h"

#include <fmt/format.h>

#include "kernels/local_dc.h"

namespace kymora {

namespace {

constexpr uint32_t localDCVersion = 1;

}  // namespace

void CRemoveLocalDC::Serialize(CArchive& archive) {
    CTransformTraceWindowDlg::Serialize(archive);
    ExchangeVersion(archive, localDCVersion, ClassName());
}

void CRemoveLocalDC::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Window");
    DescribeHalfWindow(list);
    DescribeOutput(list);
}

std::string CRemoveLocalDC::CheckSettings() {
    if (std::string fault = CTransformTraceWindowDlg::CheckSettings(); !fault.empty()) return fault;
    if (std::string fault = EmptyWindowFault(); !fault.empty()) return fault;
    if (!Document() || HalfWindowSamples(Document()->sampleInterval) > 0) return {};
    return "Half window: of a window of one sample nothing is left but 0. Enter at least one sample.";
}

void CRemoveLocalDC::GetParamText(std::string& text) {
    text += "Remove local DC transform parameters:\r\n";
    CTransformTraceWindowDlg::GetParamText(text);
    text += fmt::format("Half window time {}\r\n", HalfWindowText());
}

KernelOutcome CRemoveLocalDC::TransformBlock(const TransformRun& run, std::span<const float> input,
                                             std::span<float> output) {
    return RemoveLocalDC(input, HalfWindowSamples(run.Interval()), output, run.goOn);
}

KernelOutcome CRemoveLocalDC::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                             FloatSink& output) {
    return RemoveLocalDC(source, run.count, HalfWindowSamples(run.Interval()), output);
}

}  // namespace kymora
