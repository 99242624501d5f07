#pragma once
// Scale bars: the one horizontal bar of a recording and the vertical ones of its traces. They stand at
// fractions of the plot, so that they follow any window.

#include <optional>

#include "display/kymora_view.h"

namespace kymora {

// How the text of bars looks.
struct CScaleBarOptions {
    bool m_bShowText = true;
    uint32_t m_crText = 0;
    LogFont m_logFont = LogFont::Screen();

    static CScaleBarOptions Of(const ScaleBar& bar);
    void Apply(ScaleBar& bar) const;
    // Asks for the look of all bars; false when the user cancels.
    bool DoModal(Session& session);
};

// The dialogs of the bars. False when the user cancels, and then nothing has changed.
struct CHorzScaleBarDlg {
    ScaleBar m_bar;
    bool DoModal(Session& session);
};
struct CVertScaleBarDlg {
    ScaleBar m_bar;
    bool DoModal(const CDataDoc& doc, Session& session);
};

// Tells a bar: the horizontal one, or one of the list of vertical ones.
struct ScaleBarId {
    bool isHorizontal = true;
    int index = 0;
    bool operator==(const ScaleBarId&) const = default;
};

// Null when there is none.
const ScaleBar* FindScaleBar(const CDataDoc& doc, ScaleBarId id);
bool HasHorzScaleBar(const CDataDoc& doc);
bool HasVertScaleBars(const CDataDoc& doc);

// --- operations; each is one step of undo and updates all views ---

// Asks for the bar; the horizontal one is changed when it is there.
void AddHorzScaleBar(CKymoraView& view);
void AddVertScaleBar(CKymoraView& view);
// Without such a bar these do nothing.
void EditScaleBar(CKymoraView& view, ScaleBarId id);
void DeleteScaleBar(CKymoraView& view, ScaleBarId id);
void SetScaleBarOptions(CKymoraView& view);
// Shifts it by pixels; the end that it is placed by stays within the plot.
void MoveScaleBar(CKymoraView& view, ScaleBarId id, int dx, int dy);

// --- geometry ---

struct ScaleBarShape {
    Point from, to;  // from its place, to the right or up
    int width = 1;
    std::string text;
    PixelRect rect;  // that the mouse hits
};
// Nothing for a bar that is not there or whose trace is gone or hidden. `dx` and `dy` shift its place, as a
// drag does.
std::optional<ScaleBarShape> ShapeOf(const PlotContext& context, ScaleBarId id, int dx = 0, int dy = 0);
// All bars of the recording, those that are not shown too.
std::vector<ScaleBarId> ScaleBarsOf(const CDataDoc& doc);
// The bar under a pixel; the vertical ones lie over the horizontal one.
std::optional<ScaleBarId> ScaleBarAt(const PlotContext& context, int x, int y);

// The number of the series 1, 2, 5, 10, ... nearest to a tenth of `span`.
double RoundTenth(double span);

}  // namespace kymora
