#include "display/preview/transform_preview.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "drawing/number_labels.h"

namespace kymora {

namespace {

constexpr int64_t leastLength = 2;   // samples: one segment
constexpr double roomAround = 0.05;  // of the range, above and below
constexpr double leastRange = 1e-30, greatestRange = 1e30;
constexpr double sampleTolerance = 1e-9;  // of a time that should lie on a sample

}  // namespace

// --- where it begins ---

CTransformPreview::CTransformPreview(CPreviewHost& host, CDataDoc& doc, const DocumentView* view)
    : host_(host), doc_(doc), docLength_(doc.GetLength()), hasView_(view != nullptr) {
    if (!view) return;
    const StoredView shown = view->GetDisplaySettings().view;
    const bool isSet = shown.viewEnd > shown.viewStart;
    const double start = isSet ? shown.viewStart : 0.0;
    const double end = isSet ? shown.viewEnd : doc.UsualViewEnd();
    percentStep_ = std::clamp(shown.scrollStepPercent, 1, 100);
    timeUnit_ = shown.timeUnit;
    const double samples = std::min((end - start) / doc.sampleInterval, 1e15);
    const double first = std::min(start / doc.sampleInterval, 1e15);
    Place(static_cast<int64_t>(std::ceil(first - sampleTolerance)), std::llround(samples));
}

void CTransformPreview::Place(int64_t start, int64_t length) {
    const int64_t wanted = std::clamp<int64_t>(length, std::min(leastLength, docLength_), docLength_);
    length_ = std::min(wanted, longestRunInMemory);
    isCut_ = length_ < wanted;
    start_ = std::clamp<int64_t>(start, 0, docLength_ - length_);
}

// --- data ---

void CTransformPreview::Refresh() {
    // A long preview shows a progress, while which the settings may be told to have changed.
    if (!hasView_ || isLoading_) return;
    docLength_ = doc_.GetLength();
    const int wanted = ChoosesTrace() ? chosenTrace_ : host_.PreviewTrace();
    const int trace = std::clamp(wanted, 0, std::max(0, doc_.traceCount - 1));
    // Another trace has a range of its own.
    if (trace != data_.trace) fitsItself_ = true;
    data_.trace = trace;
    rawUnits_ = doc_.traces[static_cast<size_t>(trace)].traceUnits;
    transformedUnits_ = host_.ResultUnits(rawUnits_);
    Place(start_, isCut_ ? length_ + 1 : length_);
    Load();
}

void CTransformPreview::ChooseTrace(int trace) {
    chosenTrace_ = trace;
    Refresh();
}

void CTransformPreview::Load() {
    data_.start = start_;
    data_.count = length_;
    data_.isRefused = false;
    data_.firstResult = static_cast<double>(start_);
    data_.resultStep = 1.0;
    isLoading_ = true;
    host_.OnNeedData(data_);
    isLoading_ = false;
    data_.raw.resize(static_cast<size_t>(length_), 0.0f);
    if (data_.isRefused) data_.transformed.clear();
    message_ = data_.message;
    if (fitsItself_) Fit();
}

void CTransformPreview::Fit() {
    scales_[0] = FittingScale(data_.raw);
    scales_[1] = data_.isRefused ? scales_[0] : FittingScale(data_.transformed);
}

PreviewScale FittingScale(std::span<const float> values) {
    double low = INFINITY, high = -INFINITY;
    for (const float value : values) {
        if (!std::isfinite(value)) continue;
        low = std::min(low, static_cast<double>(value));
        high = std::max(high, static_cast<double>(value));
    }
    if (low > high) return {};
    const double range = high - low;
    const double room = range > 0.0 ? range * roomAround : low != 0.0 ? std::fabs(low) / 2.0 : 1.0;
    return {low - room, high + room};
}

// --- navigation ---

struct CTransformPreview::Entry {
    std::string_view id;
    double (Navigation::*scroll)() const = nullptr;
    Viewport (Navigation::*zoom)() const = nullptr;
    void (CTransformPreview::*act)() = nullptr;
};

std::span<const CTransformPreview::Entry> CTransformPreview::Entries() {
    using P = CTransformPreview;
    static constexpr Entry entries[] = {
        {"start", &Navigation::GoToStart},
        {"left-page", &Navigation::LeftPage},
        {"left-percent", &Navigation::LeftPercent},
        {"right-percent", &Navigation::RightPercent},
        {"right-page", &Navigation::RightPage},
        {"end", &Navigation::GoToEnd},
        {""},
        {"compress", nullptr, &Navigation::Compress},
        {"expand", nullptr, &Navigation::Expand},
        {""},
        {"increase-gain", nullptr, nullptr, &P::IncreaseGain},
        {"decrease-gain", nullptr, nullptr, &P::DecreaseGain},
        {"autoscale", nullptr, nullptr, &P::Autoscale},
        {""},
        {"save-eps", nullptr, nullptr, &P::SaveVectors},
    };
    return entries;
}

std::span<const std::string_view> CTransformPreview::Commands() {
    static const std::vector<std::string_view> ids = [] {
        std::vector<std::string_view> all;
        for (const Entry& entry : Entries()) all.push_back(entry.id);
        return all;
    }();
    return ids;
}

bool CTransformPreview::RunCommand(std::string_view id) {
    const auto entries = Entries();
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.id == id; });
    if (found == entries.end() || id.empty()) return false;
    if (!hasView_)
        message_ = noNavigationText;
    else if (found->scroll)
        Scroll(found->scroll);
    else if (found->zoom)
        Zoom(found->zoom);
    else
        (this->*found->act)();
    return true;
}

void CTransformPreview::Show(int64_t start, int64_t length) {
    if (isLoading_) return;
    const int64_t startBefore = start_, lengthBefore = length_;
    Place(start, length);
    if (start_ != startBefore || length_ != lengthBefore) Load();
}

Navigation CTransformPreview::GetNavigation() const {
    Navigation navigation;
    const auto start = static_cast<double>(start_), length = static_cast<double>(length_);
    navigation.shown = {start, start + length};
    navigation.end = static_cast<double>(docLength_);
    navigation.step = std::max(1.0, std::round(length * percentStep_ / 100.0));
    navigation.keepsLeftEdge = doc_.GetSession().options.expandContractFocus != 0;
    navigation.longest = static_cast<double>(std::min(docLength_, longestRunInMemory));
    return navigation;
}

void CTransformPreview::Scroll(double (Navigation::*move)() const) {
    Show(static_cast<int64_t>((GetNavigation().*move)()), length_);
}

void CTransformPreview::Zoom(Viewport (Navigation::*move)() const) {
    const Viewport to = (GetNavigation().*move)();
    const auto length = static_cast<int64_t>(to.Duration());
    // Where there is more than may be shown, more is asked for.
    const bool isHeld = length >= length_ && length < std::min(2 * length_, docLength_);
    Show(static_cast<int64_t>(to.start), isHeld ? length + 1 : length);
}

void CTransformPreview::Autoscale() {
    fitsItself_ = true;
    Fit();
}

void CTransformPreview::Scale(double factor) {
    fitsItself_ = false;
    for (PreviewScale& scale : scales_) {
        const double middle = scale.Middle();
        const double half = (scale.high - scale.low) / 2.0 * factor;
        // Where the middle swallows the half, the pane would have no range.
        const bool isUsable = half >= leastRange && half <= greatestRange && middle - half < middle;
        if (isUsable) scale = {middle - half, middle + half};
    }
}

// --- what it tells ---

std::string CTransformPreview::Status() const {
    if (!hasView_) return noActiveViewText;
    const double unit = TimeUnitFactor(timeUnit_);
    const std::string& label = doc_.traces[static_cast<size_t>(data_.trace)].traceLabel;
    std::string text =
        fmt::format("Trace {}{}, {} to {} {}", data_.trace + 1, label.empty() ? "" : " (" + label + ")",
                    ShortNumber(doc_.TimeOf(start_) / unit), ShortNumber(doc_.TimeOf(LastPosition()) / unit),
                    TimeUnitName(timeUnit_));
    if (isCut_) text += fmt::format(" (a preview shows no more than {} samples)", longestRunInMemory);
    return text;
}

}  // namespace kymora
