#include "transforms/local_energy.h"

#include <fmt/format.h>

namespace kymora {

namespace {

constexpr uint32_t energyVersion = 1;
constexpr double greatestK = 1e6;

}  // namespace

void CLocalEnergy::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, energyVersion, ClassName());
    Exchange(archive, m_nK);
}

void CLocalEnergy::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Local energy");
    list.Integer("kWindow", "k-window", m_nK)
        .Alias("k")
        .Unit("samples")
        .Limits(1, greatestK)
        .Tip("Distance k of the neighbours in x[i]^2 - x[i+k] x[i-k]; about a quarter of a period of the "
             "frequency that is to stand out");
    DescribeOutput(list);
}

void CLocalEnergy::GetParamText(std::string& text) {
    text += "Local energy transform parameters:\r\n";
    CTransformTraceDlg::GetParamText(text);
    text += fmt::format("k-window {}\r\n", m_nK);
}

KernelOutcome CLocalEnergy::TransformBlock(const TransformRun&, std::span<const float> input,
                                           std::span<float> output) {
    return TeagerEnergy(input, m_nK, output);
}

KernelOutcome CLocalEnergy::TransformBlock(const TransformRun&, const SourceMaker& source,
                                           FloatSink& output) {
    return TeagerEnergy(*source(), m_nK, output);
}

}  // namespace kymora
