#pragma once
// Annotations of traces: what a user does with them, and where they stand in a view.

#include "display/kymora_view.h"

namespace kymora {

// The dialog of one annotation.
struct CEditAnnotation {
    CAnnotation m_annotation;  // with its trace

    // Asks for text, time, value, trace, colour and font; false when the user cancels, and then nothing has
    // changed.
    bool DoModal(const CKymoraView& view, std::string title);
};

// Tells an annotation by its trace and its place in the list of that trace.
struct AnnotationId {
    int trace = -1;
    int index = -1;
    explicit operator bool() const { return trace >= 0; }
    bool operator==(const AnnotationId&) const = default;
};

// Null when there is none.
const CAnnotation* FindAnnotation(const CDataDoc& doc, AnnotationId id);

// --- operations; each is one step of undo and updates all views ---

// Asks for the rest; false when the user cancels.
bool AddAnnotation(CKymoraView& view, double timeMs, int trace, float value);
// In the middle of the viewport, at the top of the first axis that is shown.
bool AddAnnotationAtMiddle(CKymoraView& view);
// At a pixel, on the first trace of the axis there.
bool AddAnnotationByMouse(CKymoraView& view, int x, int y);
// Without such an annotation these do nothing.
bool EditAnnotation(CKymoraView& view, AnnotationId id);
void DeleteAnnotation(CKymoraView& view, AnnotationId id);
void DeleteAllAnnotations(CKymoraView& view);
// Shifts it by pixels; what a direction leaves alone keeps its value bit by bit.
void MoveAnnotation(CKymoraView& view, AnnotationId id, int dx, int dy);

// --- geometry ---

std::vector<std::string> LinesOf(std::string_view text);
// Its trace's axis is shown, and its time lies in the viewport, whose ends both count.
bool IsAnnotationShown(const PlotContext& context, int trace, const CAnnotation& annotation);
// Its place: the corner at the left top of its text.
Point AnnotationPlace(const PlotContext& context, int trace, const CAnnotation& annotation);
// Around its text, turned as it is.
PixelRect AnnotationRect(const PlotContext& context, int trace, const CAnnotation& annotation);
// The newest one under a pixel.
AnnotationId AnnotationAt(const PlotContext& context, int x, int y);

// Where the text's lines begin, from its place on, when they are turned by tenths of a degree.
Point LineShift(int line, int lineHeight, int escapement);

}  // namespace kymora
