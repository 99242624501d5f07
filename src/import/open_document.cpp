#include "import/open_document.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/float_doc.h"
#include "import/asc_doc.h"
#include "import/binary_doc.h"
#include "import/edf_doc.h"

namespace kymora {
namespace {

template <typename Document>
std::unique_ptr<CDataDoc> Make(Session& session) {
    return std::make_unique<Document>(session);
}

// The classes that there are. A format joins the program with a line here.
struct DocumentClass {
    std::string_view name;
    DocumentMaker make;
};
constexpr DocumentClass classes[] = {
    {"CAscDoc", Make<CAscDoc>},
    {"CBinaryDoc", Make<CBinaryDoc>},
    {"CEDFDoc", Make<CEDFDoc>},
    {"CFloatDoc", Make<CFloatDoc>},
};

DocumentMaker MakerOf(std::string_view className) {
    for (const DocumentClass& known : classes)
        if (known.name == className) return known.make;
    return nullptr;
}

// In the order of registration. The extension of the first one differs from its filter; files of both are
// recognised.
constexpr DocumentTemplate templates[] = {
    {"CMultiChanDoc", "Multi-channel data (*mcd)", ".mdc", "MultiChannel Document"},
    {"CAxonDoc", "Axon gap-free (*abf)", ".abf", "Axon Document"},
    {"CCEDDoc", "CED signal (*.cfs)", ".cfs", "CED Signal Document"},
    {"CSpike2Doc", "CED Spike2 (*.smr)", ".smr", "CED Spike 2 Document"},
    {"CSpike64Doc", "CED Spike2 (*.smrx)", ".smrx", "CED Spike 2 64-bit Document"},
    {"CECRDoc", "EGAA ECR (*prm)", ".prm", "ECR Document"},
    {"CScopeDoc", "EGAA Scope (*.bfr)", ".bfr", "Scope Document"},
    {"CAscDoc", "ASCII text (*.asc)", ".asc", "Asc Document"},
    {"CAscDoc", "comma-separated value text (*.csv)", ".csv", "CSV Document"},
    {"CAscDoc", "Text (*.txt)", ".txt", "Txt Document"},
    {"CBinaryDoc", "Raw binary (*.bin)", ".bin", "Raw binary Document"},
    {"CWintronDoc", "Wintrontech (*vet)", ".vet", "Wintrontech Document"},
    {"CWavDoc", "audio (*.wav)", ".wav", "Audio Document"},
    {"CEDFDoc", "European Data Format (*edf)", ".edf", "European Data Format Document"},
    {"CDataQDoc", "DataQ (*.wdq)", ".wdq", "DataQ Document"},
    {"CPicoMatDoc", "PicoScop Mat (*.mat)", ".mat", "PicoScop Mat Document"},
    {"CAxographDoc", "Axograph (*axgx)", ".axgx", ""},
    {"CFloatDoc", "binary float (*.flt)", ".flt", "Flt Document"},
    {"CFloatDoc", "native Kymora(*.kymr-dat)", ".kymr-dat", "Kymora data file"},
    {"CAcqDoc", "Kymora recording (*.kymr-rec)", ".kymr-rec", "Kymora recording file"},
    {"CDtxDoc", "Kymora DataTranslation board (*.dtx)", ".dtx", "DTX Document"},
};

// The extensions that a batch takes, in the order in which they are compared.
struct BatchType {
    std::string_view extension;
    std::string_view className;
};
constexpr BatchType batchTypes[] = {
    {".mcd", "CMultiChanDoc"}, {".asc", "CAscDoc"},    {".csv", "CAscDoc"},        {".abf", "CAxonDoc"},
    {".bin", "CBinaryDoc"},    {".cfs", "CCEDDoc"},    {".wdq", "CDataQDoc"},      {".prm", "CECRDoc"},
    {".edf", "CEDFDoc"},       {".flt", "CFloatDoc"},  {".kymr-dat", "CFloatDoc"}, {".mat", "CPicoMatDoc"},
    {".bfr", "CScopeDoc"},     {".smr", "CSpike2Doc"}, {".dtb", "CKYMDoc"},        {".wav", "CWavDoc"},
    {".vet", "CWintronDoc"},   {".dtx", "CDtxDoc"},    {".kymr-rec", "CAcqDoc"},   {".axgx", "CAxographDoc"},
};

constexpr std::string_view allPatterns = "*.mcd;*.kymr-dat;*.kymr-rec;*.abf;*.axgx;*.axgd;*.cfs;*.smr;*.smrx;"
                                         "*.prm;*.bfr;*.txt;*.asc;*.csv;*.bin;*."
                                         "vet;*.wav;*.flt;*.edf;*.mat;*.wdq;*.dtx;*.dtb";

const DocumentTemplate* TemplateOfClass(std::string_view className) {
    for (const DocumentTemplate& type : templates)
        if (type.className == className) return &type;
    return nullptr;
}

// "Axon gap-free" of "Axon gap-free (*abf)".
std::string_view PlainName(std::string_view filterText) {
    std::string_view name = filterText.substr(0, filterText.rfind('('));
    while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
    return name;
}

bool IsAmongPatterns(const std::string& extension) {
    const std::string patterns = std::string(allPatterns) + ";";
    return !extension.empty() && patterns.find("*" + extension + ";") != std::string::npos;
}

// Why a file of a type without a reader does not open.
std::string CannotReadText(const std::filesystem::path& path, std::string_view className) {
    const DocumentTemplate* type = TemplateOfClass(className);
    const std::string what = type ? fmt::format(" of the type \"{}\"", PlainName(type->filterText)) : "";
    return fmt::format("{} is a recording{}, which this version of Kymora recognises but cannot read.",
                       path.filename().string(), what);
}

std::string_view ClassOfExtension(const std::string& extension) {
    for (const DocumentTemplate& type : templates)
        if (type.extension == extension) return type.className;
    for (const BatchType& type : batchTypes)
        if (type.extension == extension) return type.className;
    if (extension == ".axgd") return "CAxographDoc";
    return {};
}

std::unique_ptr<CDataDoc> MakeOrTell(Session& session, const std::filesystem::path& path,
                                     std::string_view className) {
    const DocumentMaker make = MakerOf(className);
    if (make) return make(session);
    session.host.Message(CannotReadText(path, className));
    return nullptr;
}

// No dialog of a reader appears while it lives.
class SilentOpen {
  public:
    explicit SilentOpen(Session& session)
        : session_(session),
          skipFileDetails_(std::exchange(session.skipFileDetails, true)),
          gapNoticeShown_(std::exchange(session.gapNoticeShown, true)),
          askForDetails_(std::exchange(session.askForDetails, false)),
          opensForBatch_(std::exchange(session.opensForBatch, true)),
          importSettings_(session.importSettings) {}
    ~SilentOpen() {
        session_.importSettings = importSettings_;
        session_.skipFileDetails = skipFileDetails_;
        session_.gapNoticeShown = gapNoticeShown_;
        session_.askForDetails = askForDetails_;
        session_.opensForBatch = opensForBatch_;
    }
    SilentOpen(const SilentOpen&) = delete;
    SilentOpen& operator=(const SilentOpen&) = delete;

  private:
    Session& session_;
    bool skipFileDetails_, gapNoticeShown_, askForDetails_, opensForBatch_;
    std::map<std::string, std::string> importSettings_;
};

CDataDoc* AlreadyOpen(Session& session, CDataDoc* doc) {
    session.host.Log(fmt::format("found file {} already open\n", doc->filePath.string()));
    return doc;
}

// Types that a batch takes and that can be read.
bool IsConvertible(const DocumentTemplate& type) {
    return type.Maker() &&
           std::any_of(std::begin(batchTypes), std::end(batchTypes),
                       [&](const BatchType& taken) { return taken.extension == type.extension; });
}

// One for each type, or for each that can be converted.
std::string SingleFilters(bool convertible) {
    std::string filters;
    for (const DocumentTemplate& type : templates)
        if (!convertible || IsConvertible(type))
            filters += fmt::format("{}|*{}|", type.filterText, type.extension);
    return filters;
}

}  // namespace

DocumentMaker DocumentTemplate::Maker() const { return MakerOf(className); }

std::span<const DocumentTemplate> DocumentTemplates() { return templates; }

std::string OpenFilter() {
    return fmt::format("All recognised types|{}|{}|", allPatterns, SingleFilters(false));
}

std::string ConvertibleFilter() {
    std::string patterns;
    for (const DocumentTemplate& type : templates)
        if (IsConvertible(type))
            patterns += fmt::format("{}*{}", patterns.empty() ? "" : ";", type.extension);
    return fmt::format("All convertible types|{}|{}|", patterns, SingleFilters(true));
}

std::unique_ptr<CDataDoc> OpenDocument(Session& session, const std::filesystem::path& path, OpenFor purpose) {
    const std::string extension = FoldedExtension(path);
    const std::string_view className = ClassOfExtension(extension);
    if (className.empty() && !IsAmongPatterns(extension)) {
        session.host.Message(unrecognisedTypeText);
        return nullptr;
    }
    auto doc = MakeOrTell(session, path, className);
    if (!doc || !doc->OnOpenDocument(path, purpose)) return nullptr;
    return doc;
}

CDataDoc* BatchDocuments::FindShown(const std::filesystem::path& path) const {
    for (CDataDoc* doc : shown_())
        if (IsSameFile(session_.files, doc->filePath, path)) return doc;
    return nullptr;
}

CDataDoc* BatchDocuments::OpenForBatch(const std::filesystem::path& path) {
    const SilentOpen silent(session_);
    if (CDataDoc* doc = FindShown(path)) return AlreadyOpen(session_, doc);
    for (const auto& doc : own_)
        if (IsSameFile(session_.files, doc->filePath, path)) return AlreadyOpen(session_, doc.get());
    auto doc = Make(path);
    if (!doc || !doc->OnOpenDocument(path)) return nullptr;
    own_.push_back(std::move(doc));
    return own_.back().get();
}

CDataDoc* BatchDocuments::OpenCopyForBatch(const std::filesystem::path& path) {
    const SilentOpen silent(session_);
    auto doc = Make(path);
    // What the user answered when the file opened holds for the copy too.
    if (const CDataDoc* shown = FindShown(path)) session_.importSettings = shown->SettingsToReopen();
    if (!doc || !doc->OnOpenDocument(path, OpenFor::reading)) return nullptr;
    own_.push_back(std::move(doc));
    return own_.back().get();
}

std::unique_ptr<CDataDoc> BatchDocuments::Make(const std::filesystem::path& path) const {
    const std::string extension = FoldedExtension(path);
    for (const BatchType& type : batchTypes)
        if (type.extension == extension) return MakeOrTell(session_, path, type.className);
    session_.host.Message(unrecognisedTypeText);
    return nullptr;
}

void BatchDocuments::CloseIfNotOpen(const std::filesystem::path& path) {
    if (CDataDoc* doc = FindShown(path))
        AlreadyOpen(session_, doc);
    else
        session_.host.Log(fmt::format("file {} is not already open, deleting\n", path.string()));
    std::erase_if(own_, [&](const auto& doc) { return IsSameFile(session_.files, doc->filePath, path); });
}

}  // namespace kymora
