#include "import/text_file_form.h"

#include <algorithm>
#include <limits>

#include "host/form.h"

namespace kymora {

namespace {

constexpr size_t mostPreviewBytes = 1000;  // of a line
constexpr int leastTab = 2, greatestTab = 64, tabStep = 2;
constexpr double most = std::numeric_limits<int>::max();

void ChangeTab(Form& form, int by) {
    int& width = form["preview"].tabWidth;
    width = std::clamp(width + by, leastTab, greatestTab);
}

void AddCount(Form& form, std::string key, std::string label, int value, std::string toolTip) {
    form.AddInteger(std::move(key), std::move(label), value, std::move(toolTip)).Limits(0, most).Spin();
}

void AddPreview(Form& form, const std::string& preview) {
    form.AddTextView("preview", preview, "First rows of the file");
    form.AddAction(
        "widenTabs", "<>", [](Form& f) { ChangeTab(f, tabStep); }, "Widens the tabs of the text above.");
    form.AddAction(
        "narrowTabs", "><", [](Form& f) { ChangeTab(f, -tabStep); }, "Narrows the tabs of the text above.");
}

// The number of rows follows the columns as long as it is a guess.
void FollowColumns(Form& form, const TextFileQuestion& question) {
    if (!question.guess || question.known.count("skipRows") != 0 || question.known.count("skipColumns") != 0)
        return;
    form.onChange = [guess = question.guess, guessed = form.Integer("skipRows"),
                     columns = form.Integer("skipColumns")](Form& f) mutable {
        if (f.Integer("skipColumns") == columns || f.Integer("skipRows") != guessed) return;
        columns = f.Integer("skipColumns");
        guessed = guess(columns);
        f["skipRows"].number = guessed;
    };
}

}  // namespace

std::string TextPreview(const std::vector<std::string_view>& lines) {
    std::string text;
    for (size_t i = 0; i < std::min(lines.size(), previewLines); ++i) {
        std::string_view line = lines[i].substr(0, lines[i].find_last_not_of(" \t\v\f\r") + 1);
        const bool isCut = line.size() > mostPreviewBytes;
        size_t end = std::min(line.size(), mostPreviewBytes);
        while (isCut && end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;
        text.append(line.substr(0, end)).append(isCut ? "...\n" : "\n");
    }
    if (!text.empty()) text.pop_back();
    return text;
}

bool AskTextFile(Session& session, const TextFileQuestion& question, TextFileDefaults& values) {
    Form form("Text File Properties");
    form.fault = question.fault;
    const auto isAsked = [&](const char* key) { return question.known.count(key) == 0; };
    AddPreview(form, question.preview);
    if (isAsked("sampleInterval")) {
        form.AddNumber("sampleInterval", "Sample interval (ms)", values.sampleInterval,
                       "The time from one sample to the next.")
            .Limits(leastInterval, greatestInterval);
    }
    if (isAsked("skipRows"))
        AddCount(form, "skipRows", "Number of non-data rows at top", values.skipRows,
                 "Rows of heading and labels. They go to the comment of the file.");
    if (isAsked("skipColumns"))
        AddCount(form, "skipColumns", "Number of columns to skip (from left)", values.skipColumns,
                 "Columns that are no traces, such as times or frame numbers.");
    if (isAsked("labelRow"))
        AddCount(form, "labelRow", "Use row as labels (0 = no labels)", values.labelRow,
                 "The row that holds the labels of the traces, counted from 1. Where traces are in rows it "
                 "is the column.");
    if (isAsked("dataInColumns"))
        form.AddRadio("dataInColumns", "", {"Trace data in columns", "Trace data in rows"},
                      values.dataInColumns ? 0 : 1,
                      "Whether a row holds a sample of each trace, or a trace.");
    FollowColumns(form, question);
    if (!session.host.AskForm(form)) return false;
    if (isAsked("sampleInterval")) values.sampleInterval = form.Number("sampleInterval");
    if (isAsked("skipRows")) values.skipRows = form.Integer("skipRows");
    if (isAsked("skipColumns")) values.skipColumns = form.Integer("skipColumns");
    if (isAsked("labelRow")) values.labelRow = form.Integer("labelRow");
    if (isAsked("dataInColumns")) values.dataInColumns = form.Choice("dataInColumns") == 0;
    return true;
}

}  // namespace kymora
