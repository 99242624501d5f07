#include "transforms/section_filter_dlg.h"

#include <fmt/format.h>

#include <algorithm>

#include "kernels/run_reader.h"

namespace kymora {

namespace {

constexpr uint32_t sectionFilterVersion = 1;
constexpr double leastEdge = 1e-6, mostEdge = 1e8;  // Hz
constexpr int mostHarmonics = 100;
constexpr const char* designNames[] = {"Butterworth", "Bessel"};
constexpr const char* bandNames[] = {"Low-pass", "High-pass", "Band pass", "Band stop"};
constexpr const char* passNames[] = {"Unidirectional\r\n", "Bidirectional\r\n"};

}  // namespace

// --- both ---

KernelOutcome CSectionFilterDlg::TransformBlock(const TransformRun& run, std::span<const float> input,
                                                std::span<float> output) {
    return FilterSections(input, {Sections(1000.0 / run.Interval()), IsBidirectional()}, output, run.goOn);
}

KernelOutcome CSectionFilterDlg::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                                FloatSink& output) {
    return FilterSections(*source(), run.count, {Sections(1000.0 / run.Interval()), IsBidirectional()},
                          output, run.scratch);
}

FilterShape CSectionFilterDlg::Shape(double fs) const {
    FilterShape shape;
    const std::vector<Section> sections = Sections(fs);
    for (size_t i = 0; i < sections.size(); ++i) {
        const Section& s = sections[i];
        shape.coefficients.push_back({fmt::format("section {}: b", i + 1), {s.b0, s.b1, s.b2}});
        shape.coefficients.push_back({fmt::format("section {}: a", i + 1), {1.0, s.a1, s.a2}});
    }
    shape.response = [sections, fs, isBoth = IsBidirectional()](double f) {
        const std::complex<double> response = SectionsResponse(sections, f / fs);
        return isBoth ? std::complex<double>(std::norm(response)) : response;
    };
    shape.landmarks = Landmarks();
    shape.reach = RingingSamples(sections, mostReflected) + 5;
    shape.isCentred = IsBidirectional();
    return shape;
}

void CSectionFilterDlg::DescribePasses(ParamList& list) {
    list.Integer("passes", "Passes", m_nPasses)
        .Limits(1, 2)
        .Spin()
        .Tip("1: forward, as a circuit does. 2: forward and backward, which shifts nothing in time and "
             "filters "
             "twice as much: -6 dB at the cutoffs")
        .Shows([this] { return IsBidirectional() ? "no phase shift" : "forward"; });
}

// --- Butterworth and Bessel ---

void CClassicFilter::Serialize(CArchive& archive) {
    CSectionFilterDlg::Serialize(archive);
    ExchangeVersion(archive, sectionFilterVersion, ClassName());
    Exchange(archive, m_nDesign);
    Exchange(archive, m_nBandType);
    Exchange(archive, m_nOrder);
    Exchange(archive, m_fLowerCut);
    Exchange(archive, m_fUpperCut);
    Exchange(archive, m_nPasses);
    ExchangeReport(archive);
    if (!archive.IsStoring()) TakeName();
}

void CClassicFilter::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Filter");
    list.Choice("design", "Design", m_nDesign, {std::begin(designNames), std::end(designNames)})
        .Buttons()
        .Tip("Flat up to its cutoff; Keeps the form of steps and spikes, and is less steep")
        .OnChange([this] { TakeName(); });
    list.Choice("bandType", "Type", m_nBandType, {std::begin(bandNames), std::end(bandNames)})
        .Buttons()
        .Tip("What is slower than the upper cutoff passes; What is faster than the lower cutoff passes; What "
             "lies between the cutoffs passes; What lies between them is taken out");
    list.Number("lowerCut", "lower cut (Hz)", m_fLowerCut)
        .Limits(leastEdge, mostEdge)
        .Step(1)
        .Tip("Frequency at which the gain is -3 dB")
        .EnabledIf([this] { return UsesLower(); });
    list.Number("upperCut", "upper cut (Hz)", m_fUpperCut)
        .Limits(leastEdge, mostEdge)
        .Step(10)
        .Tip("Frequency at which the gain is -3 dB")
        .EnabledIf([this] { return UsesUpper(); });
    list.Integer("order", "Order", m_nOrder)
        .Limits(1, greatestSectionOrder)
        .Spin()
        .Tip("The higher, the steeper: 6 dB an octave for each, at both edges of a band");
    DescribePasses(list);
    DescribeReport(list);
    DescribeOutput(list);
}

std::string CClassicFilter::CheckSettings() {
    if (std::string fault = CFilterDlg::CheckSettings(); !fault.empty()) return fault;
    if (UsesLower() && UsesUpper() && m_fLowerCut >= m_fUpperCut)
        return "The lower cutoff has to lie below the upper one.";
    if (!Document()) return {};
    const double nyquist = SampleFrequency() / 2.0;
    const bool isTooHigh = (UsesLower() && m_fLowerCut >= nyquist) || (UsesUpper() && m_fUpperCut >= nyquist);
    if (isTooHigh) return edgeAtNyquistText;
    const double least = leastSectionEdge * SampleFrequency();
    if ((UsesLower() && m_fLowerCut < least) || (UsesUpper() && m_fUpperCut < least))
        return fmt::format(
            "A cutoff below {:.3g} Hz is too low for this sampling rate: lower the rate first.", least);
    return {};
}

void CClassicFilter::TakeName() { m_strName = designNames[std::clamp(m_nDesign, 0, 1)]; }

void CClassicFilter::GetParamText(std::string& text) {
    text += fmt::format("{} filter transform parameters:\r\n", m_strName);
    CFilterDlg::GetParamText(text);
    text += fmt::format("{}: ", bandNames[std::clamp(m_nBandType, 0, 3)]);
    if (UsesLower()) text += fmt::format("lower cut {:f}, ", m_fLowerCut);
    if (UsesUpper()) text += fmt::format("upper cut {:f}, ", m_fUpperCut);
    text += fmt::format("order {}\r\n{}", m_nOrder, passNames[IsBidirectional()]);
}

std::vector<Section> CClassicFilter::Sections(double fs) const {
    return DesignSections(static_cast<SectionDesign>(m_nDesign), Band(), m_nOrder, m_fLowerCut / fs,
                          m_fUpperCut / fs);
}

std::vector<double> CClassicFilter::Landmarks() const {
    std::vector<double> landmarks;
    if (UsesLower()) landmarks.push_back(m_fLowerCut);
    if (UsesUpper()) landmarks.push_back(m_fUpperCut);
    return landmarks;
}

std::vector<GraphLine> CClassicFilter::Edges() const {
    std::vector<GraphLine> edges;
    if (UsesLower()) edges.push_back(Edge("lowerCut", m_fLowerCut));
    if (UsesUpper()) edges.push_back(Edge("upperCut", m_fUpperCut));
    return edges;
}

// --- notches ---

void CHarmonicNotch::Serialize(CArchive& archive) {
    CSectionFilterDlg::Serialize(archive);
    ExchangeVersion(archive, sectionFilterVersion, ClassName());
    Exchange(archive, m_fFrequency);
    Exchange(archive, m_nHarmonics);
    Exchange(archive, m_fWidth);
    Exchange(archive, m_nPasses);
    ExchangeReport(archive);
}

void CHarmonicNotch::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Filter");
    list.Number("frequency", "Frequency", m_fFrequency)
        .Unit("Hz")
        .Limits(leastEdge, mostEdge)
        .Step(10)
        .Tip("Of the interference: 50 or 60 Hz for that of the mains");
    list.Integer("harmonics", "Harmonics", m_nHarmonics)
        .Limits(1, mostHarmonics)
        .Spin()
        .Tip("1: the frequency alone; 3: also twice and three times it. Those above half the sampling rate "
             "are "
             "left out")
        .Shows([this] { return Document() ? NotchesText() : std::string(); });
    list.Number("width", "Width", m_fWidth)
        .Unit("Hz")
        .Limits(leastEdge, mostEdge)
        .Step(0.5)
        .Tip("Of each notch, where the gain is -3 dB. The narrower, the less is taken from the signal, and "
             "the "
             "longer the filter rings: about 2200 ms divided by the width");
    DescribePasses(list);
    DescribeReport(list);
    DescribeOutput(list);
}

std::string CHarmonicNotch::CheckSettings() {
    if (std::string fault = CFilterDlg::CheckSettings(); !fault.empty()) return fault;
    if (!Document()) return {};
    if (Notches(SampleFrequency()).empty())
        return "The frequency must lie below half the sampling rate (Nyquist).";
    if (m_fWidth >= m_fFrequency || m_fWidth >= SampleFrequency() / 2.0)
        return "The width has to be smaller than the frequency and than half the sampling rate.";
    return {};
}

void CHarmonicNotch::GetParamText(std::string& text) {
    text += "Notch transform parameters:\r\n";
    CFilterDlg::GetParamText(text);
    text += fmt::format("Frequency {:f}, harmonics {}, width {:f}\r\n{}", m_fFrequency, m_nHarmonics,
                        m_fWidth, passNames[IsBidirectional()]);
}

std::vector<double> CHarmonicNotch::Notches(double fs) const {
    std::vector<double> notches;
    for (int i = 1; i <= m_nHarmonics && double{m_fFrequency} * i < fs / 2.0; ++i)
        notches.push_back(double{m_fFrequency} * i);
    return notches;
}

std::string CHarmonicNotch::NotchesText() const {
    constexpr size_t mostNamed = 4;
    const std::vector<double> notches = Notches(SampleFrequency());
    std::string text;
    for (size_t i = 0; i < std::min(notches.size(), mostNamed); ++i)
        text += fmt::format("{}{:.6g}", i == 0 ? "" : ", ", notches[i]);
    if (notches.size() > mostNamed) text += fmt::format(" .. {:.6g}", notches.back());
    return text.empty() ? text : text + " Hz";
}

std::string CHarmonicNotch::RunNote() {
    const size_t count = Notches(SampleFrequency()).size();
    if (count == static_cast<size_t>(m_nHarmonics)) return {};
    return fmt::format("Notches at {}; {} of the {} lie above half the sampling rate and are left out.",
                       NotchesText(), static_cast<size_t>(m_nHarmonics) - count, m_nHarmonics);
}

std::vector<Section> CHarmonicNotch::Sections(double fs) const {
    std::vector<Section> sections;
    for (const double frequency : Notches(fs))
        sections.push_back(NotchSection(frequency / fs, m_fWidth / fs));
    return sections;
}

}  // namespace kymora
