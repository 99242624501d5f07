#include "transforms/digital_fir.h"

#include <fmt/format.h>

#include <algorithm>

#include "kernels/run_reader.h"

namespace kymora {

namespace {

constexpr uint32_t firVersion = 1;
constexpr float usualUpperCut = 100.0f;  // Hz
constexpr double leastPassGain = 0.9, mostPassGain = 1.1;
constexpr const char* endsOfRunsText = "\nThe last {0} samples of each run are zero. The first {0} follow a "
                                       "jump from 0 to the data, since nothing "
                                       "lies before them: of data far from 0, take the mean away first.";

}  // namespace

void CDigitalFIR::CheckChangeDoc(CDataDoc* doc) {
    CFilterDlg::CheckChangeDoc(doc);
    if (!doc) return;
    if (IsUpperOffered()) m_fUpperCut = m_fOffered = std::min(usualUpperCut, static_cast<float>(Nyquist()));
    FollowTransition();
}

void CDigitalFIR::Serialize(CArchive& archive) {
    CFilterDlg::Serialize(archive);
    ExchangeVersion(archive, firVersion, ClassName());
    Exchange(archive, m_fLowerCut);
    // What was offered for one sampling rate is nothing to another.
    float upper = IsUpperOffered() ? usualUpperCut : m_fUpperCut;
    Exchange(archive, upper);
    Exchange(archive, m_nOrder);
    Exchange(archive, m_nBandType);
    Exchange(archive, m_nWindow);
    Exchange(archive, m_fAlpha);
    Exchange(archive, m_fTransitionWidth);
    Exchange(archive, m_isUpperChosen);
    ExchangeReport(archive);
    if (archive.IsStoring()) return;
    m_fUpperCut = upper;
    m_fOffered = usualUpperCut;
    FollowTransition();
}

void CDigitalFIR::FollowTransition() {
    if (!Document() || !(m_fTransitionWidth > 0.0f)) return;
    m_nOrder = FirOrderFor(m_fTransitionWidth, static_cast<FirWindow>(m_nWindow), SampleFrequency());
}

// --- parameters ---

void CDigitalFIR::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Filter");
    DescribeFir(list, {Nyquist(), {}, [this] { m_isUpperChosen = true; }});
    list["window"].Linked({"order"}).OnChange([this] { FollowTransition(); });
    list["order"].Linked({"transitionWidth"}).OnChange([this] { m_fTransitionWidth = 0.0f; });
    list.Number("transitionWidth", "transition (Hz)", m_fTransitionWidth)
        .Limits(0, mostCutoff)
        .Step(5)
        .Tip("From pass band to stop band: above 0 the order is the smallest that is as steep, at the "
             "sampling rate of each recording; 0 leaves the order as it is set")
        .Linked({"order"})
        .OnChange([this] { FollowTransition(); })
        .Shows([this] { return TransitionNote(); });
    list.Note("passGain", "Gain in the band",
              [this] { return HasShape() ? ShortGainNote() : std::string(); });
    DescribeRunEnds(list);
    DescribeReport(list);
    DescribeOutput(list);
}

std::string CDigitalFIR::CheckSettings() {
    if (std::string fault = CFilterDlg::CheckSettings(); !fault.empty()) return fault;
    return FirFault();
}

void CDigitalFIR::GetParamText(std::string& text) {
    text += paramHeading;
    CFilterDlg::GetParamText(text);
    AppendFilter(text, fmt::format("{:f}", m_fUpperCut));
}

void CDigitalFIR::AppendFilter(std::string& text, const std::string& upperCut) const {
    text += m_nBandType == 0 ? "Band pass: " : "Band stop: ";
    text += fmt::format("lower cut {:f}, upper cut {}, order {}\r\n", m_fLowerCut, upperCut, m_nOrder);
    if (m_fTransitionWidth > 0.0f) text += fmt::format("Transition width {:f}\r\n", m_fTransitionWidth);
    text += "Window: ";
    switch (static_cast<FirWindow>(m_nWindow)) {
    case FirWindow::blackman:
        text += "Blackman\r\n";
        break;
    case FirWindow::hann:
        text += "Hann\r\n";
        break;
    case FirWindow::kaiser:
        text += fmt::format("Kaiser, alpha = {:f}\r\n", m_fAlpha);
        break;
    }
}

// --- what it does ---

KernelOutcome CDigitalFIR::TransformBlock(const TransformRun& run, std::span<const float> input,
                                          std::span<float> output) {
    FilterFir(input, FirCoefficients(KernelSettings(run.Interval())), output, run.goOn);
    return {};
}

KernelOutcome CDigitalFIR::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                          FloatSink& output) {
    FilterFir(*source(), run.count, FirCoefficients(KernelSettings(run.Interval())), output);
    return {};
}

FilterShape CDigitalFIR::Shape(double fs) const {
    FilterShape shape;
    const std::vector<double> row = FirCoefficients(KernelSettings(1000.0 / fs));
    shape.coefficients = {{"", row}};
    shape.response = [row, fs](double f) { return FirResponse(row, f, fs); };
    constexpr int64_t margin = 5;
    shape.reach = m_nOrder / 2 + margin;
    shape.delayTaken = m_nOrder / 2;
    shape.isCentred = true;
    return shape;
}

std::vector<GraphLine> CDigitalFIR::Edges() const {
    return {Edge("lowerCut", m_fLowerCut), Edge("upperCut", m_fUpperCut)};
}

double CDigitalFIR::PassMiddle() const {
    if (m_nBandType == static_cast<int32_t>(FirBand::pass)) return (double{m_fLowerCut} + m_fUpperCut) / 2.0;
    const double above = Nyquist() - m_fUpperCut;
    return m_fLowerCut >= above ? m_fLowerCut / 2.0 : m_fUpperCut + above / 2.0;
}

double CDigitalFIR::PassGain(int order) const {
    FirSettings settings = KernelSettings(Document()->sampleInterval);
    settings.order = order;
    return std::abs(FirResponse(FirCoefficients(settings), PassMiddle(), SampleFrequency()));
}

bool CDigitalFIR::IsRight(int order) const {
    const double gain = PassGain(order);
    return gain >= leastPassGain && gain <= mostPassGain;
}

int CDigitalFIR::OrderThatDoes() const {
    int order = 2;
    while (order <= greatestFirOrder && !IsRight(order)) order += 2;
    return order <= greatestFirOrder ? order : 0;
}

std::string CDigitalFIR::ShortGainNote() const {
    std::string note = fmt::format("{:.3f} at {:.6g} Hz", PassGain(m_nOrder), PassMiddle());
    if (!IsRight(m_nOrder)) {
        const int order = OrderThatDoes();
        note += order > 0 ? fmt::format("; take order {}", order) : "; no order makes it 1";
    }
    return note;
}

std::string CDigitalFIR::GainNote() const {
    const double gain = PassGain(m_nOrder);
    std::string note =
        fmt::format("The gain in the middle of the pass band ({:.6g} Hz) is {:.4f}.", PassMiddle(), gain);
    if (!IsRight(m_nOrder)) {
        const int order = OrderThatDoes();
        note += order > 0
                    ? fmt::format(" It should be about 1: an order of {} would do.", order)
                    : " It should be about 1, which no order does at this sampling rate" + GainAdvice() + ".";
    }
    const double width = FirTransitionWidth(m_nOrder, static_cast<FirWindow>(m_nWindow), SampleFrequency());
    if (m_fTransitionWidth > 0.0f && m_nOrder == greatestFirOrder && width > m_fTransitionWidth)
        note += fmt::format("\nOrder {} makes a transition of {:.4g} Hz, not {:g} Hz.", m_nOrder, width,
                            m_fTransitionWidth);
    if (m_nOrder > 1) note += fmt::format(endsOfRunsText, m_nOrder / 2);
    return note;
}

std::string CDigitalFIR::TransitionNote() const {
    if (!Document()) return {};
    const auto window = static_cast<FirWindow>(m_nWindow);
    return fmt::format("order {} makes {:.4g} Hz", m_nOrder,
                       FirTransitionWidth(m_nOrder, window, SampleFrequency()));
}

}  // namespace kymora
