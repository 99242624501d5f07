// The main frame's documents: opening, saving and making files.

#include <algorithm>

#include <fmt/format.h>

#include <QLabel>

#include "app/cursor_pane.h"
#include "app/desktop_host.h"
#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "app/theme.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/new_file.h"
#include "document/text_export.h"
#include "exchange/new_contiguous.h"
#include "exchange/new_sparse.h"
#include "host/file_names.h"
#include "host/options_form.h"
#include "import/convert_to_text.h"
#include "import/file_properties.h"
#include "import/formats.h"

namespace kymora {

namespace {

constexpr const char* settingsWithoutFileText =
    "You can only load a configuration file (.kymr-cfg or .kymr-batch) when a data file is already open.";

bool HoldsOperationSettings(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    return extension == ".kymr-cfg" || extension == ".kymr-batch";
}

}  // namespace

// --- windows of documents ---

CChildFrame* CMainFrame::FindOpen(const std::filesystem::path& path) const {
    for (CChildFrame* child : Children())
        if (IsSameFile(session_.files, child->Document().filePath, path)) return child;
    return nullptr;
}

std::vector<CChildFrame*> CMainFrame::ChildrenOf(const CDataDoc& doc) const {
    std::vector<CChildFrame*> children = Children();
    std::erase_if(children, [&](const CChildFrame* child) { return &child->Document() != &doc; });
    return children;
}

CChildFrame* CMainFrame::AddChild(std::shared_ptr<CDataDoc> doc, const CKymoraView* like) {
    const CChildFrame* before = ActiveChild();
    const bool maximized = Children().empty() || (before && before->isMaximized());
    auto* child = new CChildFrame(std::move(doc), like);
    mdi_->addSubWindow(child);
    Watch(*child);
    connect(child, &CChildFrame::Going, operations_, [this, child] { operations_->Forget(child); });
    connect(child, &QObject::destroyed, this, [this] {
        NumberWindows();
        UpdateCommands();
    });
    if (maximized)
        child->showMaximized();
    else
        child->show();
    child->Widget().setFocus();
    NumberWindows();
    UpdateCommands();
    return child;
}

// What the widget of a child says.
void CMainFrame::Watch(CChildFrame& child) {
    ViewWidget& widget = child.Widget();
    connect(&widget, &ViewWidget::StatusChanged, status_, &QLabel::setText);
    connect(&widget, &ViewWidget::ViewChanged, this, &CMainFrame::UpdateCommands);
    connect(&widget, &ViewWidget::ViewChanged, cursorPane_, &CursorPane::Update);
    widget.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&widget, &QWidget::customContextMenuRequested, this,
            [this, frame = &child](const QPoint& at) { ShowContextMenu(frame, at); });
}

// Views of one document are told apart by numbers.
void CMainFrame::NumberWindows() {
    for (const CDataDoc* doc : Documents()) {
        const auto children = ChildrenOf(*doc);
        for (size_t i = 0; i < children.size(); ++i)
            children[i]->ShowTitle(children.size() > 1 ? static_cast<int>(i) + 1 : 0);
    }
}

void CMainFrame::RemoveDocument(const CDataDoc& doc) {
    for (CChildFrame* child : ChildrenOf(doc)) delete child;
}

void CMainFrame::OnWindowNew() {
    const CChildFrame* child = ActiveChild();
    if (!child) return;
    if (child->isMaximized()) ActiveChild()->showNormal();  // both are to be seen
    AddChild(child->SharedDocument(), &child->View());
    OnWindowTile();
}

// --- opening ---

CChildFrame* CMainFrame::OpenFile(const std::filesystem::path& path, std::optional<OpenTalk> talk) {
    if (CChildFrame* child = FindOpen(path)) {
        mdi_->setActiveSubWindow(child);
        return child;
    }
    std::shared_ptr<CDataDoc> doc =
        OpenDocument(session_, path, {opening_.purpose, talk.value_or(opening_.talk), opening_.settings});
    if (!doc) return nullptr;
    recent_.Add(path);
    emit SettingsChanged();
    CChildFrame* const child = AddChild(doc);
    TakeLeftVersions(*doc);
    return child;
}

void CMainFrame::OpenFiles(const std::vector<std::filesystem::path>& paths, std::optional<OpenTalk> talk) {
    const size_t before = Children().size();
    for (const auto& path : paths) OpenFile(path, talk);
    const size_t now = Children().size();
    if (now > 1 && now > before) OnWindowTile();
}

void CMainFrame::OnFileOpen() {
    for (const auto& path : session_.host.ChooseOpenFiles({"Select Files to Open", OpenFilter(), {}, {}}))
        OpenFile(path);
}

void CMainFrame::OpenRecent(const std::filesystem::path& path) {
    const bool isGone = !FindOpen(path) && !session_.files.Stamp(path);
    if (!isGone) {
        OpenFile(path);
    } else if (session_.host.Confirm(
                   fmt::format("The file {} is not there any more.\nRemove it from the list of recent files?",
                               path.string()))) {
        recent_.Remove(path);
        emit SettingsChanged();
    }
}

void CMainFrame::DropFile(const std::filesystem::path& path) {
    if (!HoldsOperationSettings(path)) {
        OpenFile(path);
    } else if (!ActiveChild()) {
        session_.host.Message(settingsWithoutFileText);
    } else if (FoldedExtension(path) == ".kymr-cfg") {
        operations_->OnLoadConfigFile(path);
    } else {
        session_.host.Message(
            fmt::format("{} holds a list of operations, which this version of Kymora cannot "
                        "load. The recording is as it was.",
                        path.filename().string()));
    }
}

void CMainFrame::OnNewUserDefined() {
    if (const auto path = NewUserDefinedFile(session_, Documents())) OpenFile(*path);
}

void CMainFrame::OnNewFromAverage() {
    if (const auto path = NewFileFromAverage(session_, Documents())) OpenFile(*path);
}

void CMainFrame::OnPasteContiguous() {
    if (const auto path = PasteContiguousData(session_, Documents())) OpenFile(*path);
}

void CMainFrame::OnPasteSparse() {
    if (const auto path = PasteSparseData(session_, Documents())) OpenFile(*path);
}

// --- saving and closing ---

void CMainFrame::OnFileClose() {
    if (CChildFrame* child = ActiveChild()) child->close();
}

void CMainFrame::OnExit() { close(); }

bool CMainFrame::SaveChild(CChildFrame* child) {
    CDataDoc& doc = child->Document();
    const bool saved = doc.OnSaveDocument();
    if (saved && !doc.pendingRewritePath.empty())
        FinishConversion(child);
    else
        NumberWindows();
    return saved;
}

bool CMainFrame::OnFileSave() {
    CChildFrame* child = ActiveChild();
    return child && SaveChild(child);
}

void CMainFrame::OnFileSaveAll() {
    for (CDataDoc* doc : Documents()) {
        const auto children = ChildrenOf(*doc);
        if (children.empty()) continue;
        const bool isNative = doc->GetFileType() == typeFloat;
        // What cannot be saved in place and has nothing to be saved is no reason for a message or a question.
        const bool needsCare =
            isNative && (doc->openedReadOnly || doc->fileVersion < firstVersionSavedInPlace);
        if (needsCare && !doc->IsModified()) continue;
        session_.host.Log(isNative ? "In OnFileSaveAll for kymr-dat file, calling OnFileSaveheader\n"
                                   : "In OnFileSaveAll for non- kymr-dat file, writing header\n");
        SaveChild(children.front());
    }
}

bool CMainFrame::OnFileSaveAs() {
    CChildFrame* child = ActiveChild();
    if (!child) return false;
    CDataDoc& doc = child->Document();
    const auto chosen = AskSaveAsName(doc, Documents());
    if (!chosen) return false;
    // A text is no recording that could take the window's place.
    const bool isText = FoldedExtension(*chosen) == ".txt";
    try {
        if (isText) return ExportAsText(doc, *chosen);
        SaveAs(doc, *chosen);
    } catch (const Cancelled&) {
        return false;
    } catch (const FileError& error) {
        session_.host.Failure(std::string("The file was not saved.\n") + error.what());
        return false;
    }
    if (!OpenFile(*chosen)) return false;
    OfferToPutBack(doc);
    RemoveDocument(doc);
    return true;
}

void CMainFrame::OnFileSaveAsLegacy() {
    CChildFrame* child = ActiveChild();
    if (!child) return;
    if (const auto path = SaveAsLegacy(child->Document(), Documents())) OpenFile(*path);
}

void CMainFrame::FinishConversion(CChildFrame* child) {
    const std::filesystem::path oldPath = child->Document().filePath;
    const std::filesystem::path newPath = child->Document().pendingRewritePath;
    const std::optional<FileStamp> oldStamp = child->Document().RememberedStamp(oldPath);
    RemoveDocument(child->Document());  // the old file must not be open any more
    const std::filesystem::path result = NameInstead(oldPath, ".kymr-dat");
    OpenFile(FinishRewrite(session_, oldPath, newPath, oldStamp) ? result : newPath);
}

// --- others of the File menu ---

void CMainFrame::OnConvertToText() { ConvertFilesToText(session_, batch_); }

void CMainFrame::OnFileProperties() {
    CChildFrame* child = ActiveChild();
    if (!child) return;
    AskFileProperties(child->Document());
    NumberWindows();
}

void CMainFrame::OnGeneralOptions() {
    if (!AskOptions(session_)) return;
    for (CDataDoc* doc : Documents()) doc->UpdateAllViews(UpdateHint::settings);
    UpdateCommands();
    emit SettingsChanged();
}

void CMainFrame::SetTheme(int theme) {
    const uint32_t before = ThemePaper(static_cast<Theme>(session_.options.theme));
    session_.options.theme = theme;
    ApplyTheme(static_cast<Theme>(theme));
    // Plots follow where the user has not given them a colour.
    const uint32_t paper = ThemePaper(static_cast<Theme>(theme));
    if (session_.viewHabits.m_crBackground == before) session_.viewHabits.m_crBackground = paper;
    for (const CChildFrame* child : Children()) {
        if (child->View().m_crBackground != before) continue;
        child->View().m_crBackground = paper;
        child->View().Invalidate();
    }
    ShowWhatHasNoRoom();
    UpdateCommands();
    emit SettingsChanged();
}

}  // namespace kymora
