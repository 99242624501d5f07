#pragma once
// The live preview of a transform: a stretch of one trace before and after it, in two panes or laid over each
// other. It has a viewport of its own, which begins as that of the active view, and moves by the commands of
// the view that have a meaning here.
//
// The host computes; nothing here knows a kernel. The document and the host outlive the preview.

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "display/navigation.h"
#include "document/data_doc.h"
#include "drawing/draw_device.h"
#include "transforms/preview_host.h"

namespace kymora {

inline constexpr const char* superimposeText = "Superimpose raw (black) and transformed (red) trace";
inline constexpr const char* equalScaleText =
    "Set the scale of the transformed (red) trace equal to that of the raw (black) trace";
inline constexpr const char* noNavigationText = "Navigation is not available in this preview.";
inline constexpr const char* noActiveViewText = "No active view";

// The values at the foot and at the head of a pane.
struct PreviewScale {
    double low = -1.0, high = 1.0;
    double Middle() const { return low / 2.0 + high / 2.0; }
    bool operator==(const PreviewScale&) const = default;
};

class CTransformPreview {
  public:
    // `view` gives the first stretch, the time unit and the step of scrolling. Without one there is nothing
    // to see and nowhere to go.
    CTransformPreview(CPreviewHost& host, CDataDoc& doc, const DocumentView* view);

    // The settings of the transform have changed: takes its trace and its result.
    void Refresh();

    // --- navigation ---
    // The ids of the commands of the view that work here, in the order of the buttons; empty between groups.
    static std::span<const std::string_view> Commands();
    // Runs one of them; false when there is no such command here.
    bool RunCommand(std::string_view id);
    // The stretch that the panes show, in samples.
    int64_t Start() const { return start_; }
    int64_t Length() const { return length_; }

    // Where the transform treats every trace alike, the preview chooses one.
    bool ChoosesTrace() const { return host_.PreviewTrace() == everyTrace; }
    void ChooseTrace(int trace);

    // --- scales ---
    bool m_bSuperimpose = false;
    bool m_bEqualScale = false;  // the transformed trace has the scale of the raw one
    // Until the gain is changed, each new stretch is fitted.
    const PreviewScale& RawScale() const { return scales_[0]; }
    const PreviewScale& TransformedScale() const { return scales_[m_bEqualScale ? 0 : 1]; }
    // --- what it tells ---
    // The trace and the stretch of time.
    std::string Status() const;
    // What the transform has to say, or why a command did nothing; empty for nothing.
    const std::string& Message() const { return message_; }
    const PreviewData& Data() const { return data_; }

    // Draws on white paper, whatever the colours of the windows are.
    void Draw(DrawDevice& device, Extent size) const;
    // Asks for a name and writes the plots, as large as they were last drawn, as a vector file of the
    // session's width and resolution. What fails is told.
    void SaveVectors();

  private:
    // In samples, as the view's is in ms.
    Navigation GetNavigation() const;
    void Scroll(double (Navigation::*move)() const);
    void Zoom(Viewport (Navigation::*move)() const);
    void IncreaseGain() { Scale(0.5); }
    void DecreaseGain() { Scale(2.0); }
    void Autoscale();

    // One below the other, or the same place for both.
    struct Panes {
        PixelRect plot, raw, transformed;
    };
    Panes PanesOf(Extent size) const;

    struct Entry;
    static std::span<const Entry> Entries();
    int64_t LastPosition() const { return start_ + std::max<int64_t>(0, length_ - 1); }
    // Holds the stretch within the recording and to what is treated in memory.
    void Place(int64_t start, int64_t length);
    void Show(int64_t start, int64_t length);
    void Load();
    void Fit();
    void Scale(double factor);

    CPreviewHost& host_;
    CDataDoc& doc_;
    PreviewData data_;
    std::string message_;
    std::string rawUnits_, transformedUnits_;  // behind the values of the axes; empty for none
    std::array<PreviewScale, 2> scales_;       // raw, transformed
    int chosenTrace_ = 0;
    int64_t docLength_ = 0, start_ = 0, length_ = 0;
    int percentStep_ = 20, timeUnit_ = 0;
    mutable Extent drawn_{760, 400};
    bool hasView_ = false;
    bool isCut_ = false;  // a longer stretch was asked for than there may be
    bool isLoading_ = false;
    bool fitsItself_ = true;  // until the user has chosen a gain
};

// The least and greatest finite values with a little room around them; values that are all equal lie in the
// middle.
PreviewScale FittingScale(std::span<const float> values);

}  // namespace kymora
