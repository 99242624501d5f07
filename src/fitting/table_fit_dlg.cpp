#include "fitting/table_fit_dlg.h"

#include <fmt/format.h>

#include "document/native_writer.h"

namespace kymora {

namespace {

constexpr uint32_t tableFitVersion = 1;
constexpr int pointsShown = 6, mostColumns = 10'000, mostDecimals = 15;
constexpr const char* dropText = "You can only drop a text file (.txt) or CSV (*.csv) onto this dialog.";
constexpr const char* unreadableText = "The table cannot be opened: {}";

}  // namespace

void CTableFitDlg::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, tableFitVersion, ClassName());
    Exchange(archive, m_strFile);
    Exchange(archive, m_strPoints);
    Exchange(archive, m_nColumnX);
    Exchange(archive, m_nColumnY);
    Exchange(archive, m_nDecimals);
}

void CTableFitDlg::GetParamText(std::string& text) {
    text += fmt::format("Table: {}\r\n", SourceText());
    if (m_nColumnX > 0 || m_nColumnY > 0)
        text += fmt::format("Columns: X {}, Y {}\r\n", m_nColumnX, m_nColumnY);
}

void CTableFitDlg::DescribeTable(ParamList& list) {
    list.Group("Table");
    list.Text("file", "From file", m_strFile)
        .Tip("A text file (.txt, .csv) with X and Y, which takes the place of the list. Drop one onto the "
             "window to set it");
    list.Text("points", "Points", m_strPoints)
        .Lines(pointsShown)
        .Tip("X and Y of a point in each line, apart by tabs, semicolons, blanks or commas")
        .EnabledIf([this] { return m_strFile.empty(); })
        .OnChange([this] { m_source.clear(); });
    list.Note("source", "Source", [this] { return SourceText(); });
    list.Action("chooseFile", "Choose...", [this] { ChooseFile(); }).Tip("Chooses a text file with a table");
    list.Action("paste", "Paste", [this] { Paste(); })
        .Tip("Takes the table that the clipboard holds as text");
    list.Action("reload", "Reload",
                [this] {
                    ForgetTable();
                    ForgetFound();
                })
        .Tip("Reads the table anew, and forgets the results");
    list.Integer("columnX", "X in column", m_nColumnX)
        .Limits(0, mostColumns)
        .Tip("Counted from 1; 0: the first column with numbers");
    list.Integer("columnY", "Y in column", m_nColumnY)
        .Limits(0, mostColumns)
        .Tip("Counted from 1; 0: the first column with numbers beside that of X");
}

void CTableFitDlg::DescribeDecimals(ParamList& list) {
    list.Group("Display");
    list.Integer("decimals", "Decimal places", m_nDecimals)
        .Limits(0, mostDecimals)
        .Tip("Of the numbers in the table of the results");
}

std::string CTableFitDlg::SourceText() const {
    if (!m_strFile.empty()) return "file " + m_strFile;
    if (m_strPoints.empty()) return "none";
    return m_source.empty() ? "list" : m_source;
}

void CTableFitDlg::SetPoints(std::string points, std::string source) {
    m_strPoints = std::move(points);
    m_source = std::move(source);
    m_strFile.clear();
    ForgetFound();
}

void CTableFitDlg::Paste() {
    try {
        SetPoints(GetHost().ReadClipboardText(), "clipboard");
    } catch (const ClipboardError& error) {
        Refuse(error.what());
    }
}

void CTableFitDlg::ChooseFile() {
    const FileRequest request{"Open table",
                              "text (*.txt;*.csv)|*.txt;*.csv|Data File (*.dat)|*.dat|all files (*.*)|*.*||",
                              "txt",
                              {}};
    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty()) m_strFile = paths[0].string();
}

bool CTableFitDlg::TakesDrop(const std::filesystem::path& file) {
    const std::string extension = FoldedExtension(file);
    if (extension == ".kymr-cfg") return false;
    if (extension == ".txt" || extension == ".csv" || extension == ".dat")
        m_strFile = file.string();
    else
        Refuse(dropText);
    return true;
}

const CTableFitDlg::Read& CTableFitDlg::TakeTable() {
    const Session& session = Document()->GetSession();
    const auto stamp = m_strFile.empty() ? std::nullopt : session.files.Stamp(m_strFile);
    if (m_read && m_read->file == m_strFile && m_read->points == m_strPoints && m_read->sorts == Sorts() &&
        m_read->columnX == m_nColumnX && m_read->columnY == m_nColumnY && m_read->stamp == stamp)
        return *m_read;
    Read read{m_strFile, m_strPoints, m_nColumnX, m_nColumnY, Sorts(), false, stamp, nullptr, {}};
    XYTable table;
    try {
        const auto take = [&](TextReader text) {
            table = ReadXYTable(text, m_nColumnX, m_nColumnY, session.decimalSeparator);
        };
        if (m_strFile.empty()) {
            take(TextReader(std::string_view(m_strPoints)));
        } else {
            const auto file = session.files.Open(m_strFile, OpenMode::readOnly);
            take(TextReader(*file));
        }
        read.fault = table.fault;
    } catch (const FileError& error) {
        read.fault = fmt::format(unreadableText, error.what());
    }
    if (read.fault.empty()) {
        read.wasSorted = Sorts() && SortByX(table);
        auto points = std::make_shared<FitPoints>();
        points->x = std::move(table.x);
        points->y = std::move(table.y);
        points->isCurve = false;
        read.table = std::move(points);
    }
    m_read = std::move(read);
    return *m_read;
}

FitPointsRef CTableFitDlg::ReadTable(bool& wasSorted) {
    const Read& read = TakeTable();
    if (!read.fault.empty()) throw JobRefused(read.fault);
    wasSorted = read.wasSorted;
    return read.table;
}

FitPointsRef CTableFitDlg::ShownTable() {
    const bool isThere = Document() && !(m_strFile.empty() && m_strPoints.empty());
    return isThere ? TakeTable().table : nullptr;
}

}  // namespace kymora
