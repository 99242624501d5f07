#include "document/overlays.h"

#include <algorithm>

#include "archive/text_encoding.h"

namespace kymora {
namespace {

template <typename T>
std::span<std::byte> Raw(T& value) {
    return std::as_writable_bytes(std::span(&value, 1));
}

constexpr size_t LeastListBarBytes(int version) {
    return 20 + (version > 39 ? 4 : 0) + (version > 41 ? 96 : 0) + (version > 44 ? 1 : 0);
}

void LoadBarExtras(CArchive& archive, ScaleBar& bar, int version) {
    if (version > 39) bar.m_bShowText = archive.Read<int32_t>();
    if (version > 41) {
        bar.m_crText = archive.Read<uint32_t>();
        bar.m_logFont = LogFont::Load(archive, false);
    }
}

void StoreBarExtras(CArchive& archive, const ScaleBar& bar, int version) {
    if (version > 39) archive.Write<int32_t>(bar.m_bShowText);
    if (version > 41) {
        archive.Write<uint32_t>(bar.m_crText);
        bar.m_logFont.Store(archive);
    }
}

}  // namespace

std::string LogFont::FaceName() const {
    const auto end = std::find(faceName.begin(), faceName.end(), uint16_t{0});
    return WideToText(std::u16string(faceName.begin(), end));
}

void LogFont::SetFaceName(std::string_view name) {
    const std::u16string units = TextToWide(name);
    faceName.fill(0);
    std::copy_n(units.begin(), std::min<size_t>(units.size(), faceName.size() - 1), faceName.begin());
}

const LogFont& LogFont::Screen() {
    static const LogFont font = Default(96);
    return font;
}

LogFont LogFont::Default(int dotsPerInch) {
    LogFont font;
    font.height = -((8 * dotsPerInch + 36) / 72);
    font.SetFaceName("Ms Sans Serif");
    return font;
}

LogFont LogFont::Load(CArchive& archive, bool narrowFace) {
    if (archive.IsSkimming()) {
        archive.Skip(28 + (narrowFace ? 32 : 64));
        return Screen();
    }
    LogFont font;
    for (int32_t* field : {&font.height, &font.width, &font.escapement, &font.orientation, &font.weight})
        *field = archive.Read<int32_t>();
    for (uint8_t* field : {&font.italic, &font.underline, &font.strikeOut, &font.charSet, &font.outPrecision,
                           &font.clipPrecision, &font.quality, &font.pitchAndFamily})
        *field = archive.Read<uint8_t>();
    if (narrowFace) {
        std::array<std::byte, 32> bytes;
        archive.ReadRaw(bytes);
        // Each byte is one unit, also behind the terminator.
        for (size_t i = 0; i < bytes.size(); ++i)
            font.faceName[i] = TextToWide(NarrowToText(std::span(bytes).subspan(i, 1)))[0];
    } else {
        archive.ReadRaw(Raw(font.faceName));
    }
    return font;
}

void LogFont::Store(CArchive& archive) const {
    for (const int32_t field : {height, width, escapement, orientation, weight})
        archive.Write<int32_t>(field);
    for (const uint8_t field :
         {italic, underline, strikeOut, charSet, outPrecision, clipPrecision, quality, pitchAndFamily})
        archive.Write<uint8_t>(field);
    archive.WriteRaw(std::as_bytes(std::span(faceName)));
}

CMarker LoadMarker(CArchive& archive) {
    CMarker marker;
    marker.m_dTime = archive.Read<double>();
    marker.m_strLabel = archive.ReadString();
    return marker;
}

void StoreMarker(CArchive& archive, const CMarker& marker) {
    archive.Write<double>(marker.m_dTime);
    archive.WriteString(marker.m_strLabel);
}

CAnnotation LoadAnnotation(CArchive& archive, int version) {
    CAnnotation annotation;
    static_cast<CMarker&>(annotation) = LoadMarker(archive);
    annotation.m_fValue = archive.Read<float>();
    annotation.m_crColour = archive.Read<uint32_t>();
    annotation.m_logFont = LogFont::Load(archive, version < 35);
    return annotation;
}

CAnnotation LoadOldAnnotation(CArchive& archive) {
    CAnnotation annotation;
    static_cast<CMarker&>(annotation) = LoadMarker(archive);
    annotation.m_nTrace = archive.Read<int32_t>();
    annotation.m_fValue = archive.Read<float>();
    annotation.m_crColour = archive.Read<uint32_t>();
    annotation.m_logFont = LogFont::Load(archive, true);
    return annotation;
}

void StoreAnnotation(CArchive& archive, const CAnnotation& annotation) {
    StoreMarker(archive, annotation);
    archive.Write<float>(annotation.m_fValue);
    archive.Write<uint32_t>(annotation.m_crColour);
    annotation.m_logFont.Store(archive);
}

ScaleBarGroup ScaleBarGroup::Load(CArchive& archive, int version) {
    ScaleBarGroup group;
    group.single.m_nWidth = archive.Read<int32_t>();
    if (group.single.m_nWidth > 0) {
        group.single.m_fXFrac = archive.Read<float>();
        group.single.m_fYFrac = archive.Read<float>();
        group.single.m_fLength = archive.Read<float>();
        LoadBarExtras(archive, group.single, version);
    }
    const uint32_t count = archive.ReadItemCount(LeastListBarBytes(version), "scale bars");
    if (!archive.IsSkimming()) group.list.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        ScaleBar bar;
        bar.m_fXFrac = archive.Read<float>();
        bar.m_nWidth = archive.Read<int32_t>();
        bar.m_fYFrac = archive.Read<float>();
        bar.m_fLength = archive.Read<float>();
        bar.m_nTrace = archive.Read<int32_t>();
        LoadBarExtras(archive, bar, version);
        if (version > 44) bar.m_strUnits = archive.ReadString();
        if (!archive.IsSkimming()) group.list.push_back(std::move(bar));
    }
    return group;
}

void ScaleBarGroup::Store(CArchive& archive, int version) const {
    archive.Write<int32_t>(single.m_nWidth);
    if (single.m_nWidth > 0) {
        archive.Write<float>(single.m_fXFrac);
        archive.Write<float>(single.m_fYFrac);
        archive.Write<float>(single.m_fLength);
        StoreBarExtras(archive, single, version);
    }
    archive.Write<int32_t>(static_cast<int32_t>(list.size()));
    for (const ScaleBar& bar : list) {
        archive.Write<float>(bar.m_fXFrac);
        archive.Write<int32_t>(bar.m_nWidth);
        archive.Write<float>(bar.m_fYFrac);
        archive.Write<float>(bar.m_fLength);
        archive.Write<int32_t>(bar.m_nTrace);
        StoreBarExtras(archive, bar, version);
        if (version > 44) archive.WriteString(bar.m_strUnits);
    }
}

}  // namespace kymora
