#include "frequency/wavelet_denoise.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "spectra/wavelet_filters.h"

namespace kymora {

namespace {

constexpr uint32_t denoiseVersion = 1;
constexpr int mostShifts = 64;
constexpr size_t readAtOnce = 1 << 16;
constexpr const char* spoiltRunText =
    "A run of samples without gaps holds one that is infinite or not a number and is left as it is.\n";

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

// Transforms, edits and back, in place.
void CWaveletDenoise::EditRun(const TransformRun& run, WaveletRun& values, bool isFirst) const {
    const auto between = [&](size_t) { Ask(run); };
    values.Forward(between);
    const ThresholdOutcome outcome = m_edit.Apply(values, between);
    if (isFirst && !m_bInPreview) run.host.Log(ThresholdLog(outcome));
    values.Inverse(between);
}

// The mean of the results of the run begun at each of its first samples, as it is periodic.
void CWaveletDenoise::EditShifted(const TransformRun& run, WaveletRun& values) const {
    const size_t length = values.values.size(), shifts = std::min(static_cast<size_t>(m_nShifts), length);
    WaveletRun shifted(m_nWavelet, length);
    shifted.samples = values.samples;
    UnfilledVector<double> sums(values.samples);
    // Value i goes to i - shift, round the end, in pieces.
    const auto each = [&](size_t count, size_t shift, const auto& does) {
        for (size_t i = 0; i < count; ++i) {
            does(i, i >= shift ? i - shift : i + length - shift);
            if (i % readAtOnce == 0) Ask(run);
        }
    };
    for (size_t shift = 0; shift < shifts; ++shift) {
        each(length, shift, [&](size_t from, size_t to) { shifted.values[to] = values.values[from]; });
        EditRun(run, shifted, shift == 0);
        each(sums.size(), shift, [&](size_t to, size_t from) {
            sums[to] = (shift == 0 ? 0.0 : sums[to]) + shifted.values[from];
        });
    }
    each(sums.size(), 0, [&](size_t i, size_t) {
        values.values[i] = static_cast<float>(sums[i] / static_cast<double>(shifts));
    });
}

// A value that is no number would spoil all of its run, since each of the longest wavelets meets it.
void CWaveletDenoise::Edit(const TransformRun& run, WaveletRun& values) const {
    if (!std::ranges::all_of(values.Run(), [](float value) { return std::isfinite(value); })) {
        if (!m_bInPreview) run.host.Log(spoiltRunText);
        return;
    }
    values.Extend([&](size_t) { Ask(run); });
    m_nShifts > 1 ? EditShifted(run, values) : EditRun(run, values, true);
}

KernelOutcome CWaveletDenoise::TransformBlock(const TransformRun& run, std::span<const float> input,
                                              std::span<float> output) {
    try {
        WaveletRun values(m_nWavelet, input.size());
        std::copy(input.begin(), input.end(), values.Run().begin());
        Edit(run, values);
        std::copy(values.Run().begin(), values.Run().end(), output.begin());
    } catch (const std::bad_alloc&) {
        return KernelOutcome::Failure(noMemoryForWaveletsText);
    }
    return {};
}

KernelOutcome CWaveletDenoise::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                              FloatSink& output) {
    try {
        WaveletRun values(m_nWavelet, static_cast<size_t>(run.count));
        const auto from = source();
        for (std::span<float> left = values.Run(); !left.empty();)
            left = left.subspan(from->Read(left.first(std::min(left.size(), readAtOnce))));
        Edit(run, values);
        for (std::span<float> left = values.Run(); !left.empty();) {
            const auto part = left.first(std::min(left.size(), readAtOnce));
            output.Write(part);
            left = left.subspan(part.size());
            Ask(run);
        }
    } catch (const std::bad_alloc&) {
        return KernelOutcome::Failure(noMemoryForWaveletsText);
    }
    return {};
}

}  // namespace kymora
