#pragma once
// Cursors that are placed by numbers.

#include "display/kymora_view.h"

namespace kymora {

// A vertical line at a time.
struct CPlaceVertDatum {
    double m_dTime = 0.0;  // ms
    bool DoModal(Session& session);
};

// A horizontal line at a value of a trace.
struct CPlaceHorzDatum {
    double m_dValue = 0.0;
    int m_nTrace = 1;  // from 1
    bool DoModal(Session& session, int traceCount);
};

// A horizontal line at a level of the data between two vertical lines, or in view where there are not two.
struct CDatumHorzRel {
    enum class Level { sd = 0, positivePeak = 1, negativePeak = 2 };

    int m_nTrace = 1;  // from 1, as the cursors are
    int m_nStartCursor = 1, m_nEndCursor = 2;
    Level m_level = Level::sd;
    double m_dSdMultiplier = 2.0, m_dPosMultiplier = 0.5, m_dNegMultiplier = 0.5;

    bool DoModal(Session& session, int cursors);
};

// The mean, standard deviation (n - 1 in the divisor) and extremes of the valid samples of [from, to).
struct LevelStats {
    int64_t count = 0;
    double mean = 0.0, sd = 0.0;
    double least = 0.0, greatest = 0.0;
};
// Nothing when the user stopped the reading. Throws FileError.
std::optional<LevelStats> MeasureLevel(CDataDoc& doc, int trace, int64_t from, int64_t to);
double LevelOf(const CDatumHorzRel& dialog, const LevelStats& stats);

// What the commands do: each asks, and tells the user why no line was placed.
void PlaceAtTime(CKymoraView& view);
void PlaceAtVoltage(CKymoraView& view);
void AddHorzRelative(CKymoraView& view);

// The same for a line that is there: coupled ones go along.
void MoveCursorToTime(CKymoraView& view, int line);
void MoveCursorToValue(CKymoraView& view, int line);

}  // namespace kymora
