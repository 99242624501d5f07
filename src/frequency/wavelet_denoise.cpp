#include "frequency/wavelet_denoise.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "spectra/wavelet_filters.h"

namespace kymora {

namespace {

constexpr uint32_t denoiseVersion = 1;
constexpr int mostShifts = 64;
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
    Exchange(archive, m_nShifts);
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
    list.Integer("shifts", "Shifts", m_nShifts)
        .Limits(1, mostShifts)
        .Spin()
        .Tip("The result is the mean of as many, each of the run begun a sample later: fewer bumps beside "
             "steps and "
             "spikes. 1: none; 8 to 16 are enough");
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
    if (m_nShifts > 1) text += fmt::format("Shifts: {}\r\n", m_nShifts);
}

KernelOutcome CWaveletDenoise::TransformBlock(const TransformRun& run, std::span<const float> input,
                                              std::span<float> output) {
    const auto between = [&](size_t) { Ask(run); };
    try {
        std::vector<float> extended(WaveletLength(std::max<size_t>(input.size(), 1)));
        if (!input.empty()) ExtendByMirroring(input, extended);
        WaveletRun shifted(m_nWavelet, extended.size());
        // A shift by more than there are values is one that was there before.
        const size_t shifts = std::min(static_cast<size_t>(m_nShifts), extended.size());
        std::vector<double> sums(shifts > 1 ? input.size() : 0);
        for (size_t shift = 0; shift < shifts; ++shift) {
            std::rotate_copy(extended.begin(), extended.begin() + static_cast<std::ptrdiff_t>(shift),
                             extended.end(), shifted.coefficients.begin());
            shifted.samples = input.size();
            shifted.Forward(between);
            const ThresholdOutcome outcome = m_edit.Apply(shifted);
            if (shift == 0 && !m_bInPreview) run.host.Log(ThresholdLog(outcome));
            shifted.Inverse(between);
            // Value i went to i - shift, round the end.
            for (size_t i = 0; i < sums.size(); ++i)
                sums[i] += shifted.coefficients[(i + extended.size() - shift) % extended.size()];
        }
        if (shifts == 1)
            std::copy_n(shifted.coefficients.begin(), output.size(), output.begin());
        else
            for (size_t i = 0; i < output.size(); ++i)
                output[i] = static_cast<float>(sums[i] / static_cast<double>(shifts));
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
