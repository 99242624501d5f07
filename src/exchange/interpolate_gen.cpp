#include "exchange/interpolate_gen.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/native_writer.h"
#include "exchange/fill_words.h"
#include "exchange/pasted_recording.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr uint32_t interpolateGenVersion = 1;
constexpr double mostGraphPoints = 1e6;
constexpr int pointsShown = 12;  // lines of the list
constexpr double farthestAxis = 1e100;
// An axis that follows the points shows so much of what lies beyond them, as a part of their range.
constexpr double marginBeyond = 0.1;
constexpr const char* ignoredKey = "XYGraphDlgIgnoreRow";
constexpr const char* ignoredText = "Note: a data row contains non-numeric values and will be ignored.";
constexpr const char* dropText = "You can only drop a text file (.txt) or CSV (*.csv) onto this dialog.";
constexpr const char* unreadableText = "Unable to open dropped file.";
constexpr const char* axisText = "The left end of the axis must be less than its right end.";
constexpr const char* notFiniteText =
    "{} of the {} values of the curve are infinite or not a number: the points lie too far apart.";
constexpr const char* queryFaultText = "The query takes X values, for example 1.5 2.25.";
constexpr const char* internalList = "0\t0\n1\t1\n2\t0\n3\t0.5\n5\t0.5\n6\t2\n";
constexpr const char* kindHeadings[] = {"Unknown Spline Type\n",    "Linear:\n",
                                        "Cubic Spline:\n",          "Catmull-Rom Spline:\n",
                                        "Modified Akima Spline:\n", "Bezier (3rd order) Spline:\n",
                                        "PCHIP Spline:\n"};

std::string Heading(InterpolatorKind kind) {
    const auto index = static_cast<size_t>(kind);
    return kindHeadings[index < std::size(kindHeadings) ? index : 0];
}

// The numbers of a query; nothing where a word is none. With decimal commas, a query that makes no sense with
// them is read with points, as saved settings have them.
std::optional<std::vector<double>> ReadQuery(std::string_view text, char decimal) {
    std::vector<double> places;
    for (const std::string& cell : SplitCells(text, decimal == ',' ? "; \t\r\n" : ",; \t\r\n")) {
        if (cell.empty()) continue;
        const auto place = ReadNumber(cell, decimal);
        const bool isNumber = place && std::isfinite(*place);
        if (!isNumber) return decimal == '.' ? std::nullopt : ReadQuery(text, '.');
        places.push_back(*place);
    }
    return places;
}

}  // namespace

// --- the parameters ---

void CInterpolateGen::Describe(ParamList& list) {
    DescribePoints(list);
    list.Group("Interpolation");
    list.Choice("type", "Type", m_nType, FillWords()).Tip(fillTip);
    list.Integer("pointsInGraph", "Number of points in graph", m_nPointsInGraph)
        .Limits(2, mostGraphPoints)
        .Tip("So many points of the curve are drawn and listed, at equal distances");
    list.Flag("extrapolate", "Extrapolate using linear projection beyond fixed points to graph axis limits",
              m_bExtrapolate)
        .Tip("The curve goes on as a straight line with the slope that it has at its ends");
    DescribeAxis(list);
    list.Group("Query");
    list.Text("query", "X", m_strQuery).Tip("One or more X values at which the value of the curve is told");
    list.Note("value", "Value", [this] { return CheckSettings().empty() ? QueryText() : std::string(); });
}

void CInterpolateGen::DescribePoints(ParamList& list) {
    list.Group("Fixed points");
    list.Text("file", "From file", m_strFile)
        .Tip("A text file (.txt, .csv) of points, which takes the place of the list. Drop one onto the "
             "window to "
             "set it");
    list.Text("points", "Points", m_strPoints)
        .Lines(pointsShown)
        .Tip("Tab- or comma-separated list of X (time) and Y (value) points between which to interpolate, "
             "one in each line")
        .EnabledIf([this] { return m_strFile.empty(); })
        .OnChange([this] { m_source = Source::manual; });
    list.Note("source", "Source", [this] { return SourceText(); });
    list.Action("chooseFile", "Choose...", [this] { ChooseFile(); }).Tip("Chooses a text file of points");
    list.Action("paste", "Paste", [this] { PasteList(); })
        .Tip("Takes the points that the clipboard holds as text");
    list.Action("internal", "Internal", [this] { TakeInternal(); })
        .Tip("Takes the points that the program brings to try the methods with");
}

void CInterpolateGen::DescribeAxis(ParamList& list) {
    const auto isSet = [this] { m_bAxisAuto = false; };
    list.Flag("axisAuto", "Axis follows the points", m_bAxisAuto)
        .Tip("The X axis shows all fixed points, and with extrapolation a tenth of their range beyond them");
    list.Number("axisLeft", "Axis from", m_dAxisLeft)
        .Limits(-farthestAxis, farthestAxis)
        .Tip("Left end of the X axis")
        .Linked({"axisAuto"})
        .OnChange(isSet);
    list.Number("axisRight", "Axis to", m_dAxisRight)
        .Limits(-farthestAxis, farthestAxis)
        .Tip("Right end of the X axis")
        .Linked({"axisAuto"})
        .OnChange(isSet);
}

void CInterpolateGen::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, interpolateGenVersion, ClassName());
    Exchange(archive, m_nType);
    Exchange(archive, m_nPointsInGraph);
    Exchange(archive, m_strPoints);
    Exchange(archive, m_strQuery);
    Exchange(archive, m_strFile);
    Exchange(archive, m_bExtrapolate);
    Exchange(archive, m_bAxisAuto);
    Exchange(archive, m_dAxisLeft);
    Exchange(archive, m_dAxisRight);
    if (!archive.IsStoring()) m_source = m_strPoints == internalList ? Source::internal : Source::manual;
}

void CInterpolateGen::GetParamText(std::string& text) {
    text +=
        fmt::format("Fixed points: {}\r\nType: {}\r\nNumber of points in graph: {}\r\nExtrapolate: {}\r\n",
                    SourceText(), fillWords[std::clamp(m_nType, 0, interpolatorKinds - 1)], m_nPointsInGraph,
                    m_bExtrapolate ? "yes" : "no");
    if (!m_bAxisAuto) text += fmt::format("Axis: {:g} to {:g}\r\n", m_dAxisLeft, m_dAxisRight);
}

std::string CInterpolateGen::CheckSettings() {
    if (!m_bAxisAuto && !(m_dAxisLeft < m_dAxisRight)) return axisText;
    return Query() ? std::string() : queryFaultText;
}

// --- where the points come from ---

void CInterpolateGen::SuggestSettings() {
    const bool isNew = m_source == Source::internal && m_strPoints.empty() && m_strFile.empty();
    if (isNew) m_strPoints = internalList;
}

std::string CInterpolateGen::SourceText() const {
    if (!m_strFile.empty()) return "from file " + m_strFile;
    if (m_source == Source::internal) return "internal source";
    return m_source == Source::clipboard ? "from clipboard" : "from manual entry or paste";
}

void CInterpolateGen::SetList(std::string list, Source source) {
    m_strPoints = std::move(list);
    m_source = source;
    m_strFile.clear();
    NoteIgnored(ReadPoints());
}

void CInterpolateGen::PasteList() {
    try {
        SetList(GetHost().ReadClipboardText(), Source::clipboard);
    } catch (const ClipboardError&) {
        Refuse(noClipboardText);
    }
}

void CInterpolateGen::TakeInternal() { SetList(internalList, Source::internal); }

void CInterpolateGen::ChooseFile() {
    const FileRequest request{"Open points", "text (*.txt;*.csv)|*.txt;*.csv||", "txt", {}};
    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty()) TakeFile(paths[0]);
}

bool CInterpolateGen::TakesDrop(const std::filesystem::path& file) {
    const std::string extension = FoldedExtension(file);
    if (extension == ".kymr-cfg") return false;
    if (extension == ".txt" || extension == ".csv")
        TakeFile(file);
    else
        Refuse(dropText);
    return true;
}

void CInterpolateGen::TakeFile(const std::filesystem::path& file) {
    const std::string before = std::exchange(m_strFile, file.string());
    try {
        NoteIgnored(ReadPoints());
    } catch (const FileError&) {
        m_strFile = before;
        Refuse(unreadableText);
    }
}

FixedPoints CInterpolateGen::ReadPoints() {
    const Session& session = Document()->GetSession();
    if (m_strFile.empty()) {
        TextReader text{std::string_view(m_strPoints)};
        return ReadFixedPoints(text, session.decimalSeparator);
    }
    const auto file = session.files.Open(m_strFile, OpenMode::readOnly);
    TextReader text(*file);
    return ReadFixedPoints(text, session.decimalSeparator);
}

std::optional<std::vector<double>> CInterpolateGen::Query() const {
    return ReadQuery(m_strQuery, Document() ? Document()->GetSession().decimalSeparator : '.');
}

// A run of its own accord has it said in a line of the window; a row is just being typed, maybe.
void CInterpolateGen::NoteIgnored(const FixedPoints& points) {
    if (points.ignored == 0) return;
    if (IsAttended())
        GetHost().Notice(ignoredKey, Title(), ignoredText);
    else
        Tell(ignoredText);
}

// --- the run ---

void CInterpolateGen::SetAxis(const FixedPoints& points) {
    if (!m_bAxisAuto) return;
    const double first = points.x.front(), last = points.x.back();
    const double margin = m_bExtrapolate ? (last - first) * marginBeyond : 0.0;
    m_dAxisLeft = std::max(first - margin, -farthestAxis);
    m_dAxisRight = std::min(last + margin, farthestAxis);
}

bool CInterpolateGen::Analyse(UndoScope&) {
    Found found;
    found.points = ReadPoints();
    NoteIgnored(found.points);
    if (const char* fault = FixedPointsFault(found.points); *fault != '\0') {
        Refuse(fault);
        return false;
    }
    const std::vector<double>&x = found.points.x, &y = found.points.y;
    found.kind = static_cast<InterpolatorKind>(m_nType);
    found.source = SourceText();
    SetAxis(found.points);
    const auto curve = MakeInterpolator(found.kind, x, y);
    const auto at = [&](double place) {
        const bool isWithin = place >= x.front() && place <= x.back();
        if (curve) return Place{place, (*curve)(place), isWithin || m_bExtrapolate};
        const auto point = std::lower_bound(x.begin(), x.end(), place);
        const bool isPoint = point != x.end() && *point == place;
        return Place{place, isPoint ? y[static_cast<size_t>(point - x.begin())] : 0.0, isPoint};
    };
    if (curve) {
        const double from = m_bExtrapolate ? std::min(x.front(), m_dAxisLeft) : x.front();
        const double to = m_bExtrapolate ? std::max(x.back(), m_dAxisRight) : x.back();
        const int32_t last = m_nPointsInGraph - 1;
        for (int32_t i = 0; i <= last; ++i) {
            const double part = static_cast<double>(i) / last;
            const Place place = at(i == last ? to : from + (to - from) * part);
            found.curve.push_back({place.x, place.y});
        }
    } else {
        for (const double place : x) found.curve.push_back(at(place));
    }
    for (const double place : Query().value_or(std::vector<double>())) found.queries.push_back(at(place));
    const auto odd = std::ranges::count_if(found.curve, [](const Place& p) { return !std::isfinite(p.y); });
    if (odd > 0) Tell(fmt::format(notFiniteText, odd, found.curve.size()));
    m_found = std::move(found);
    if (IsAttended() && !m_found->queries.empty()) GetHost().Inform(QueryText());
    return true;
}

// --- what it shows ---

std::string CInterpolateGen::QueryText() const {
    std::string text;
    if (!m_found) return text;
    for (const Place& place : m_found->queries) {
        if (!text.empty()) text += "; ";
        text += place.exists ? fmt::format("at {:.9g}: {:.9g}", place.x, place.y)
                             : fmt::format("at {:.9g}: outside the fixed points", place.x);
    }
    return text;
}

void CInterpolateGen::WriteResult(const TextSink& sink) {
    if (!m_found || !sink(Heading(m_found->kind))) return;
    for (const Place& place : m_found->curve)
        if (!sink(fmt::format("{:f}\t{:f}\n", place.x, place.y))) return;
}

std::vector<Result> CInterpolateGen::Results() {
    if (!m_found) return {};
    Result result;
    result.name = Title();
    std::string type = Heading(m_found->kind);
    type.erase(type.find_last_not_of(":\n") + 1);
    result.values = {{"type", type},
                     {"source", m_found->source},
                     {"fixed points", static_cast<int64_t>(m_found->points.x.size())}};
    for (const Place& place : m_found->queries)
        result.values.emplace_back(fmt::format("value at {:.9g}", place.x),
                                   place.exists ? ResultValue(place.y) : ResultValue());
    result.columns = {{"X", ""}, {"Y", ""}};
    std::vector<std::vector<ResultValue>> rows;
    for (const Place& place : m_found->curve) rows.push_back({place.x, place.y});
    result.SetRows(std::move(rows));
    return {result};
}

std::optional<Graph> CInterpolateGen::GetGraph() {
    GraphPane pane{"interpolation"};
    pane.x.title = "X";
    pane.y.title = "Y";
    if (!m_found) return Graph{{pane}};
    pane.lowerParameter = "axisLeft";
    pane.upperParameter = "axisRight";
    pane.autoParameter = "axisAuto";
    if (m_dAxisLeft < m_dAxisRight) pane.x.limits = {m_dAxisLeft, m_dAxisRight};
    const auto add = [&](LayerKind kind, const char* name, size_t colour, const auto& places) {
        GraphLayer layer{kind, name, GraphColour(colour)};
        for (const Place& place : places) {
            if (!place.exists) continue;
            layer.x.push_back(place.x);
            layer.y.push_back(place.y);
        }
        if (!layer.x.empty()) pane.layers.push_back(std::move(layer));
    };
    if (m_found->kind != InterpolatorKind::gaps) add(LayerKind::curve, "curve", 0, m_found->curve);
    GraphLayer fixed{LayerKind::points, "fixed points", GraphColour(1)};
    fixed.x = m_found->points.x;
    fixed.y = m_found->points.y;
    pane.layers.push_back(std::move(fixed));
    add(LayerKind::points, "query", 2, m_found->queries);
    return Graph{{std::move(pane)}};
}

}  // namespace kymora
