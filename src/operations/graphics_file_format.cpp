#include "operations/graphics_file_format.h"

#include <fmt/format.h>

namespace kymora {

namespace {

constexpr uint32_t graphicsFormatVersion = 1;
constexpr const char* graphicsFormats[] = {"EPS", "SVG"};

}  // namespace

std::string TargetFault(double widthMm, int64_t resolution) {
    if (!(widthMm >= leastTargetWidth && widthMm <= greatestTargetWidth))
        return fmt::format("The width of the target takes {:g} to {:g} mm.", leastTargetWidth,
                           greatestTargetWidth);
    if (resolution < leastTargetResolution || resolution > greatestTargetResolution)
        return fmt::format("The resolution of the target takes {} to {} dpi.", leastTargetResolution,
                           greatestTargetResolution);
    return {};
}

void CGraphicsFileFormat::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, graphicsFormatVersion, ClassName());
    Exchange(archive, m_nFormat);
    Exchange(archive, m_dTargetWidth);
    Exchange(archive, m_nResolution);
    if (!archive.IsStoring()) FollowWidth();
}

void CGraphicsFileFormat::Describe(ParamList& list) {
    list.Group("Vector file");
    list.Choice("format", "Format", m_nFormat, {std::begin(graphicsFormats), std::end(graphicsFormats)})
        .Buttons()
        .Tip("EPS: Encapsulated Post-Script format; SVG: Scalable Vector Graphics format. The extension of a "
             "file's name goes over it");
    list.Number("targetWidth", "Width", m_dTargetWidth)
        .Unit("mm")
        .Limits(leastTargetWidth, greatestTargetWidth)
        .Tip("Width in mm of target graphic")
        .Linked({"targetWidthInches"})
        .OnChange([this] { FollowWidth(); });
    list.Number("targetWidthInches", "Width in inches", m_dWidthInches)
        .Unit("inches")
        .Limits(leastTargetWidth / mmInInch, greatestTargetWidth / mmInInch)
        .Tip("Width in inches of target graphic")
        .Linked({"targetWidth"})
        .OnChange([this] { FollowInches(); });
    list.Integer("resolution", "Resolution", m_nResolution)
        .Unit("dpi")
        .Limits(leastTargetResolution, greatestTargetResolution)
        .Tip("Select resolution of target graphic device");
}

void CGraphicsFileFormat::GetParamText(std::string& text) {
    text += fmt::format("Format: {}\r\nWidth {:f} mm\r\nResolution {} dpi\r\n",
                        graphicsFormats[std::clamp(m_nFormat, 0, 1)], m_dTargetWidth, m_nResolution);
}

void CGraphicsFileFormat::WriteResult(const TextSink& sink) {
    std::string text;
    GetParamText(text);
    sink(text);
}

bool CGraphicsFileFormat::Analyse(UndoScope&) {
    if (!IsAttended()) return true;
    PictureOptions& picture = Document()->GetSession().picture;
    picture.targetWidth = m_dTargetWidth;
    picture.targetResolution = m_nResolution;
    return true;
}

std::vector<Result> CGraphicsFileFormat::Results() {
    Result result;
    result.name = "vector file";
    result.values = {{"width", m_dTargetWidth}, {"resolution", int64_t{m_nResolution}}};
    return {result};
}

}  // namespace kymora
