#pragma once
// What a user can set on a view and take back, apart from the viewport: switches, axes and the look of
// traces.

#include <array>
#include <cstdint>
#include <string>

#include "document/undo.h"
#include "host/session.h"

namespace kymora {

inline constexpr const char* noAxesText =
    "This file cannot display as requested, since no axes are displayed.";

class CKymoraView;

// One vertical axis: the range of values over the height of its band.
struct CVertAxis {
    double m_dMax = 1000.0;
    double m_dMin = -1000.0;
    bool m_bSelected = false;
    std::string m_strLabel;
    std::string m_strUnits;

    bool HasLimitsOf(const CVertAxis& other) const {
        return m_dMax == other.m_dMax && m_dMin == other.m_dMin;
    }
};

// How a trace is drawn. A file keeps the width in traceExtraB and the rest in traceExtraA.
struct TraceFormat {
    bool drawAsDots = false;
    int lineWidth = 1;        // pixels, 1 to 20
    int dotSize = 0;          // 0 to 3: single pixel, then radius 2, 4, 6
    bool clipToAxis = false;  // kept inside its own band

    bool operator==(const TraceFormat&) const = default;
};

struct ViewSettings : ViewHabits {
    int m_nTimeUnit = 0;  // 0 ms, 1 s, 2 min, 3 h: how times are shown
    bool m_bTimebasePerViewport = false;
    int m_nPercentStep = 20;

    bool m_bShowAxes = true;
    bool m_bShowSlider = true;
    bool m_bShowGrid = true;
    bool m_bShowMarkers = true;
    bool m_bShowAnnotations = true;
    bool m_bShowScaleBars = true;
    bool m_bShowTraceLabels = true;
    bool m_bShowTraceIDs = true;
    bool m_bShowEvents = true;
    bool m_bShowEventLabels = true;
    bool m_bShowEventChanLabels = true;
    float m_fDataArea = 1.0f;  // fraction of the height given to the traces
    int m_nSigFigs = 3;        // of the axis limits; 0 is the default form
    int m_nClipMode = 1;       // a clipped trace: 1 to the rows of its axis limits, else to its band
    // So many of the visible axes are shown at a time, from the first of them on; 0 shows all.
    int m_nAxesAtOnce = 0;
    int m_nFirstAxis = 0;  // counted among the visible ones

    std::array<CVertAxis, maxTraces> m_axes;
    std::array<bool, maxTraces> m_bAxisVisible{};
    std::array<int, maxTraces> m_nAxisOfTrace{};
    std::array<TraceFormat, maxTraces> m_format;

    // Which axes are selected, and their labels, are not settings of the view.
    bool IsSameAs(const ViewSettings& other) const;
};

// Records what is changed on a view, and on the traces' colours and labels, as one step that can be undone.
// The way in which a recording is looked at is a setting that files keep, but none that marks it as changed.
class DisplayScope {
  public:
    enum Kind { work, look };

    DisplayScope(CKymoraView& view, std::string name, Kind kind);

    // The settings as they are now, for a step that changes more than them.
    static std::unique_ptr<UndoChange> Held(CKymoraView& view);

    void LeaveUnmodified() { scope_.LeaveUnmodified(); }

  private:
    UndoScope scope_;
};

}  // namespace kymora
