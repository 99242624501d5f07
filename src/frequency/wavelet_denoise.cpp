#include "frequency/wavelet_denoise.h"

#include <fmt/format.h>

#include <new>

#include "spectra/wavelet_filters.h"

namespace kymora {

namespace {

constexpr uint32_t denoiseVersion = 1;
constexpr size_t readAtOnce = 1 << 16;

// The samples are counted by the engine; this only asks.
void Ask(const TransformRun& run) {
    if (run.goOn && !run.goOn(0)) throw Cancelled();
}

}  // namespace

void CWaveletDenoise::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, denoiseVersion, ClassName());
    Exchange(archive, m_nWavelet);
    m_edit.Exchange(archive);
}

void CWaveletDenoise::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Wavelet");
    list.Choice("wavelet", "Wavelet", m_nWavelet, WaveletNames())
        .Tip("The number is that of its filter's values: more follow smooth signals better, fewer steps and "
             "spikes");
    list.Group("Threshold");
    list.Flag("threshold", "Threshold details", m_edit.m_bThreshold).Tip("Takes small details for noise");
    m_edit.DescribeThreshold(list, [this] { return m_edit.m_bThreshold; });
    m_edit.DescribeZeroBands(list);
    DescribeOutput(list);
}

std::string CWaveletDenoise::CheckSettings() {
    if (std::string fault = CTransformTraceDlg::CheckSettings(); !fault.empty()) return fault;
    return m_edit.Fault();
}

void CWaveletDenoise::GetParamText(std::string& text) {
    text += "De-noise with DWT transform parameters:\r\n";
    CTransformTraceDlg::GetParamText(text);
    text += fmt::format("Wavelet type: {}\r\n", WaveletNames()[static_cast<size_t>(m_nWavelet)]);
    m_edit.AppendText(text);
}

KernelOutcome CWaveletDenoise::TransformBlock(const TransformRun& run, std::span<const float> input,
                                              std::span<float> output) {
    const auto between = [&](size_t) { Ask(run); };
    try {
        WaveletRun coefficients(m_nWavelet, input, between);
        const ThresholdOutcome outcome = m_edit.Apply(coefficients);
        if (!m_bInPreview) run.host.Log(ThresholdLog(outcome));
        Ask(run);
        coefficients.transform.Inverse(std::span(coefficients.coefficients), between);
        std::copy_n(coefficients.coefficients.begin(), output.size(), output.begin());
    } catch (const std::bad_alloc&) {
        return KernelOutcome::Failure(noMemoryForWaveletsText);
    }
    return {};
}

KernelOutcome CWaveletDenoise::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                              FloatSink& output) {
    try {
        std::vector<float> values(static_cast<size_t>(run.count));
        const auto from = source();
        for (size_t at = 0; at < values.size(); at += readAtOnce)
            from->Read(std::span(values).subspan(at, std::min(readAtOnce, values.size() - at)));
        const KernelOutcome outcome = TransformBlock(run, values, values);
        if (!outcome) return outcome;
        for (size_t at = 0; at < values.size(); at += readAtOnce) {
            output.Write(std::span(values).subspan(at, std::min(readAtOnce, values.size() - at)));
            Ask(run);
        }
    } catch (const std::bad_alloc&) {
        return KernelOutcome::Failure(noMemoryForWaveletsText);
    }
    return {};
}

}  // namespace kymora
