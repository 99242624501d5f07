#include "import/file_properties.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/form.h"
#include "import/edf_doc.h"
#include "import/foreign_doc.h"
#include "import/formats.h"

namespace kymora {

namespace {

// "European Data Format" of the extension; the class where the extension tells nothing.
std::string TypeText(const CDataDoc& doc) {
    const FormatExtension* type = FindFormat(doc.filePath).extension;
    return std::string(type && !type->typeName.empty() ? type->typeName
                                                       : FileTypeClassName(doc.GetFileType()));
}

std::string GapText(const CDataDoc& doc) {
    if (doc.noData) return "No samples: events only";
    if (!doc.hasGaps) return "None";
    return fmt::format("{} blocks of data in trace 1", doc.GetNumValidBlocks(0));
}

int ChannelsInUse(const CDataDoc& doc) {
    return static_cast<int>(std::count_if(doc.eventChannels.begin(), doc.eventChannels.end(),
                                          [](const CEventChan& c) { return c.GetNumEvents() > 0; }));
}

}  // namespace

bool AskFileProperties(CDataDoc& doc) {
    Form form("File properties");
    form.AddNote("path", doc.filePath.string(), "File");
    form.AddNote("type", TypeText(doc), "Type");
    form.AddNote("fileVersion", std::to_string(doc.fileVersion), "File version");
    form.AddNote("traceCount", std::to_string(doc.traceCount), "Traces");
    form.AddNote("length", std::to_string(doc.GetLength()), "Samples per trace");
    form.AddNote("sampleInterval", fmt::format("{:.9g}", doc.sampleInterval), "Sample interval (ms)");
    form.AddNote("duration", fmt::format("{:.9g}", doc.TimeOf(doc.GetLength())), "Duration (ms)");
    form.AddNote("gaps", GapText(doc), "Gaps");
    form.AddNote("channels", std::to_string(ChannelsInUse(doc)), "Event channels in use");
    if (doc.openedReadOnly) form.AddNote("readOnly", doc.readOnlyReason, "Read-only, because");
    form.AddLongText("comment", "File comment", doc.fileComment,
                     "Free text that is saved with the recording.");
    Host& host = doc.GetHost();
    form.AddAction(
        "history", "History...",
        [&](Form&) {
            host.ShowText("History of " + doc.filePath.filename().string(),
                          doc.historyLog.empty() ? "No operation has written to the history yet."
                                                 : doc.historyLog);
        },
        "Shows what operations have written about this recording.");
    if (auto* edf = dynamic_cast<CEDFDoc*>(&doc.Reader()))
        form.AddAction(
            "edfDetails", "EDF details...", [edf](Form&) { edf->ShowInfo(); },
            "Shows the header of the file and the list of its annotations.");
    if (auto* foreign = dynamic_cast<CForeignDoc*>(&doc.Reader()))
        form.AddAction(
            "fileDetails", "File details...", [foreign](Form&) { foreign->ShowDetails(); },
            "Shows what the header of the file tells.");
    if (!host.AskForm(form)) return false;
    if (form.Text("comment") != doc.fileComment) {
        doc.fileComment = form.Text("comment");
        doc.SetModifiedFlag();
    }
    return true;
}

}  // namespace kymora
