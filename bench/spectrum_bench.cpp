// Spectra and wavelets. The floor of a spectrum without overlap is the bare transform of its segments.

#include <sys/resource.h>

#include <cmath>

#include "bench_files.h"
#include "frequency/sonogram.h"
#include "frequency/spectrum_anal_dlg.h"
#include "spectra/radix2_fft.h"
#include "spectra/wavelet_transform.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr size_t samples = 8'000'000, block = 65536;

std::vector<float> Noise(uint32_t state) {
    std::vector<float> values(samples);
    for (float& value : values) {
        state = state * 1664525u + 1013904223u;
        value = static_cast<float>(static_cast<int32_t>(state)) * 1e-9f;
    }
    return values;
}

double Millions(double seconds, size_t count = samples) { return static_cast<double>(count) / seconds / 1e6; }

void Spectrum(const std::vector<float>& a, const std::vector<float>& b, size_t length, int shift,
              SpectrumMode mode, double goal) {
    SpectrumSettings settings;
    settings.bins = length / 2;
    settings.mode = mode;
    CSpectrumEstimator estimator(settings);
    const size_t step = length >> shift;
    const double took = Seconds(5, [&] {
        for (size_t at = 0; at + length <= samples; at += step) {
            const auto part = std::span(a).subspan(at, length);
            mode == SpectrumMode::spectrum ? estimator.AddSegment(part)
                                           : estimator.AddSegment(part, std::span(b).subspan(at, length));
        }
    });
    // The same as a reader hands them over, out of the block that it has just read.
    const double cached = Seconds(5, [&] {
        for (size_t at = 0; at + length <= samples; at += step) {
            const auto part = std::span(a).subspan(at % block, length);
            mode == SpectrumMode::spectrum
                ? estimator.AddSegment(part)
                : estimator.AddSegment(part, std::span(b).subspan(at % block, length));
        }
    });
    // Two kinds of floor: the library's transform alone, and the plain one that stands beside it.
    RealFft fft(length);
    for (double& value : fft.Input()) value = 1.0;
    const double bare = Seconds(5, [&] {
        for (size_t at = 0; at + length <= samples; at += step) fft.Forward();
    });
    const Radix2Fft plain(length);
    std::vector<double> re(length, 1.0), im(length);
    const double slow = Seconds(1, [&] {
        for (size_t at = 0; at + length <= samples / 8; at += step) {
            re.assign(length, 1.0);
            im.assign(length, 0.0);
            plain.Forward(re, im);
        }
    });
    std::printf(
        "%s, segments of %zu, overlap %g %%: %.0f million samples a second (goal %.0f), %.2f of the bare "
        "transform (%.2f with samples in the cache), %.2f of a plain one\n",
        mode == SpectrumMode::spectrum ? "spectrum" : "coherence", length, 100.0 - 100.0 / (1 << shift),
        Millions(took), goal, took / bare, cached / bare, took / (8.0 * slow));
}

double Megabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Through the operations, from a file.
void FromAFile() {
    Folder folder;
    QuietHost host;
    DiskFileSystem files;
    Session session{host, files};
    const auto path = folder / "long.kymr-dat";
    MakeNative(session, path, 1, 250'000'000, 0, true);
    const auto doc = std::make_unique<CFloatDoc>(session);
    if (!doc->OnOpenDocument(path)) return;
    CSpectrumAnalDlg spectrum;
    spectrum.CheckChangeDoc(doc.get());
    spectrum.m_nRegionMode = regionWholeFile;
    spectrum.m_nLog2Bins = 10;
    const double before = Megabytes();
    const double took = Seconds(1, [&] { spectrum.Run(); });
    std::printf("spectrum of a file of 1 GB: %.2f s, %.1f MB more (goal 20)\n", took, Megabytes() - before);
    CSonogram sonogram;
    sonogram.CheckChangeDoc(doc.get());
    sonogram.m_bFollowView = false;
    sonogram.m_nBins = 1024;
    sonogram.m_nColumns = 1000;
    sonogram.m_nAveragesPerColumn = 100;
    const double column = Seconds(3, [&] { sonogram.Run(); });
    std::printf("spectrogram, segments of 2048, overlap 50 %%: %.0f million samples a second (goal 66)\n",
                Millions(column, 1000 * 100 * 1024));
}

void Wavelets() {
    const std::tuple<int, const char*, double> wavelets[] = {
        {0, "Daub-4", 34}, {8, "Daub-20", 14}, {9, "Daub-68", 4.5}};
    std::vector<double> run(size_t{1} << 20);
    for (size_t i = 0; i < run.size(); ++i) run[i] = std::sin(1e-3 * static_cast<double>(i * i % 10'007));
    for (const auto& [wavelet, name, goal] : wavelets) {
        const CWaveletTransform transform(wavelet, run.size());
        auto values = run;
        const double took = Seconds(5, [&] {
            transform.Forward(std::span(values));
            transform.Inverse(std::span(values));
        });
        std::printf("DWT and inverse, %s: %.1f million values a second (goal %.1f)\n", name,
                    Millions(took, run.size()), goal);
    }
}

}  // namespace

int main() {
    FromAFile();  // first, since memory is measured at its most
    const auto a = Noise(1), b = Noise(2);
    Spectrum(a, b, 2048, 0, SpectrumMode::spectrum, 0);
    Spectrum(a, b, 2048, 1, SpectrumMode::spectrum, 75);
    Spectrum(a, b, 2048, 3, SpectrumMode::spectrum, 26);
    Spectrum(a, b, 128, 1, SpectrumMode::spectrum, 43);
    Spectrum(a, b, 2048, 1, SpectrumMode::coherence, 50);
    Wavelets();
}
