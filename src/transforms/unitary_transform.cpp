#include "transforms/unitary_transform.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace kymora {

namespace {

constexpr uint32_t unitaryVersion = 1;
constexpr const char* stepNames[] = {"", "offset", "scale", "rectify"};
constexpr const char* rectifyNames[] = {"full wave", "half wave"};
constexpr std::string_view separators = " ,\t";

}  // namespace

void CUnitaryTransform::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, unitaryVersion, ClassName());
    Exchange(archive, m_strOrder);
    Exchange(archive, m_fScale);
    Exchange(archive, m_fOffset);
    Exchange(archive, m_nRectifyType);
    Exchange(archive, m_bRename);
}

std::optional<std::array<int, 3>> CUnitaryTransform::Order() const {
    std::array<int, 3> order{};
    std::string_view left = m_strOrder;
    size_t count = 0;
    while (true) {
        left.remove_prefix(std::min(left.find_first_not_of(separators), left.size()));
        if (left.empty()) break;
        const std::string_view word = left.substr(0, left.find_first_of(separators));
        left.remove_prefix(word.size());
        if (count == order.size()) return {};
        const auto parsed = std::from_chars(word.data(), word.data() + word.size(), order[count++]);
        if (parsed.ec != std::errc() || parsed.ptr != word.data() + word.size()) return {};
    }
    if (count != order.size()) return {};
    return order;
}

bool CUnitaryTransform::HasStep(UnitaryStep step) const {
    const auto order = Order();
    return order && std::find(order->begin(), order->end(), step) != order->end();
}

std::string CUnitaryTransform::OrderText() const {
    std::string text;
    for (const int step : Order().value_or(std::array<int, 3>{})) {
        if (step <= stepNone || step > stepRectify) continue;
        if (!text.empty()) text += ", then ";
        text += stepNames[step];
    }
    return text.empty() ? "no change" : text;
}

void CUnitaryTransform::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Arithmetic");
    list.Text("order", "Order", m_strOrder)
        .Tip("The three steps in the order in which they are done: 0 nothing, 1 offset, 2 scale, 3 rectify")
        .Shows([this] { return OrderText(); });
    list.Number("offset", "1 Offset", m_fOffset).Tip("Added to each sample").EnabledIf([this] {
        return HasStep(stepOffset);
    });
    list.Number("scale", "2 Scale", m_fScale).Tip("Factor of each sample").EnabledIf([this] {
        return HasStep(stepScale);
    });
    list.Choice("rectifyType", "3 Rectify", m_nRectifyType, {"Full wave", "Half wave"})
        .Buttons()
        .Tip("Negative values become positive; Negative values become 0")
        .EnabledIf([this] { return HasStep(stepRectify); });
    list.Flag("rename", "Rename trace", m_bRename).Tip("Add the transform's name to the label of the result");
    DescribeOutput(list);
}

std::string CUnitaryTransform::CheckSettings() {
    if (std::string fault = CTransformTraceDlg::CheckSettings(); !fault.empty()) return fault;
    const auto order = Order();
    if (!order) return orderListText;
    if (HasDuplicateSteps(*order)) return duplicateOrderText;
    for (const int step : *order)
        if (step < stepNone || step > stepRectify) return unrecognizedTransformText;
    return {};
}

void CUnitaryTransform::GetParamText(std::string& text) {
    text += "Unitary transform parameters:\r\n";
    CTransformTraceDlg::GetParamText(text);
    text += fmt::format("Order: {}\r\n", m_strOrder);
    for (const int step : Order().value_or(std::array<int, 3>{})) {
        if (step == stepOffset) text += fmt::format("Offset {:f}\r\n", m_fOffset);
        if (step == stepScale) text += fmt::format("Scale {:f}\r\n", m_fScale);
        if (step == stepRectify) text += fmt::format("Rectify: {}\r\n", rectifyNames[m_nRectifyType == 1]);
    }
}

std::string CUnitaryTransform::ResultLabel(const std::string& label) const {
    return m_bRename ? CTransformTraceDlg::ResultLabel(label) : label;
}

bool CUnitaryTransform::ChangesScale() const {
    return (HasStep(stepOffset) && m_fOffset != 0.0f) || (HasStep(stepScale) && m_fScale != 1.0f);
}

UnitarySettings CUnitaryTransform::KernelSettings() const {
    constexpr int noCode = -1;
    return {Order().value_or(std::array<int, 3>{noCode, noCode, noCode}), m_fScale, m_fOffset,
            m_nRectifyType == 1 ? RectifyType::halfWave : RectifyType::fullWave};
}

KernelOutcome CUnitaryTransform::TransformBlock(const TransformRun&, std::span<const float> input,
                                                std::span<float> output) {
    return Unitary(input, KernelSettings(), output);
}

KernelOutcome CUnitaryTransform::TransformBlock(const TransformRun&, const SourceMaker& source,
                                                FloatSink& output) {
    return Unitary(*source(), KernelSettings(), output);
}

}  // namespace kymora
