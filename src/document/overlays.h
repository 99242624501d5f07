#pragma once
// The objects laid over the traces that are stored with a recording, and their records in a file.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "archive/archive.h"

namespace kymora {

struct CMarker {
    double m_dTime = 0.0;  // ms
    std::string m_strLabel;

    bool operator==(const CMarker&) const = default;
};

// The font block of a file: a platform font description of 92 bytes. All 32 units of the face name are kept,
// also those behind its terminator, so that a block comes back byte for byte.
struct LogFont {
    int32_t height = -11, width = 0, escapement = 0, orientation = 0, weight = 400;
    uint8_t italic = 0, underline = 0, strikeOut = 0, charSet = 0;
    uint8_t outPrecision = 1, clipPrecision = 2, quality = 1, pitchAndFamily = 0x20;
    std::array<uint16_t, 32> faceName{};

    std::string FaceName() const;
    void SetFaceName(std::string_view name);  // cut at 31 units
    bool operator==(const LogFont&) const = default;

    // "Ms Sans Serif" at 8 points for a device of that many dots per inch.
    static LogFont Default(int dotsPerInch);
    static const LogFont& Screen();  // the same for a screen of 96 dots per inch

    // `narrowFace`: the face name is 32 bytes of Windows-1252, as files below version 35 hold it.
    static LogFont Load(CArchive& archive, bool narrowFace);
    void Store(CArchive& archive) const;
};

struct CAnnotation : CMarker {
    int m_nTrace = 0;       // from 0; in memory only, the list that holds it tells the file
    float m_fValue = 0.0f;  // vertical position in the trace's units
    uint32_t m_crColour = 0;
    LogFont m_logFont = LogFont::Screen();

    bool operator==(const CAnnotation&) const = default;
};

// Least bytes of a record, for holding counts against what a file can hold.
inline constexpr size_t leastMarkerBytes = 9;

CMarker LoadMarker(CArchive& archive);
void StoreMarker(CArchive& archive, const CMarker& marker);

// The record of versions 27 and above.
CAnnotation LoadAnnotation(CArchive& archive, int version);
// The record of versions 7 to 26, with the trace it belongs to.
CAnnotation LoadOldAnnotation(CArchive& archive);
void StoreAnnotation(CArchive& archive, const CAnnotation& annotation);

// One scale bar. The stored names of its fields are x, y, barSize, thickness, barUnits and barFlags; what
// they mean is settled here alone: x and y place the bar, barSize is the pen, thickness the bar's length,
// barUnits its trace, barFlags whether its text shows.
struct ScaleBar {
    float m_fXFrac = 0.0f;    // x: fraction of the plot width
    float m_fYFrac = 0.0f;    // y: fraction of the plot height
    int32_t m_nWidth = 0;     // barSize: pen width in pixels; 0 means that there is no single bar
    float m_fLength = 0.0f;   // thickness: ms for a horizontal bar, the trace's units for a vertical one
    int32_t m_nTrace = 0;     // barUnits: bars of a list only
    int32_t m_bShowText = 1;  // barFlags
    uint32_t m_crText = 0;
    LogFont m_logFont = LogFont::Screen();
    std::string m_strUnits;  // bars of a list only

    bool operator==(const ScaleBar&) const = default;
};

// The two groups of a file: the first is the horizontal bar's, the second the vertical bars'. Each holds a
// single bar and a list; what the system does not use is kept and written back.
struct ScaleBarGroup {
    ScaleBar single;
    std::vector<ScaleBar> list;

    bool operator==(const ScaleBarGroup&) const = default;
    static ScaleBarGroup Load(CArchive& archive, int version);
    // `version` is the current one or the legacy one.
    void Store(CArchive& archive, int version) const;
};

}  // namespace kymora
