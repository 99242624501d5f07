// The main frame's documents: opening, saving and making files.

#include <algorithm>

#include <fmt/format.h>

#include <QLabel>
#include <QScopedValueRollback>
#include <QStandardPaths>
#include <QStatusBar>

#include "acquisition/windows/recording_window.h"
#include "app/cursor_pane.h"
#include "app/desktop_host.h"
#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "app/start_page.h"
#include "app/theme.h"
#include "catalogue/operations.h"
#include "demo/demo_recordings.h"
#include "display/retained_settings.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/new_file.h"
#include "document/text_export.h"
#include "exchange/foreign_export.h"
#include "exchange/new_contiguous.h"
#include "exchange/new_sparse.h"
#include "host/file_names.h"
#include "host/options_form.h"
#include "import/convert_to_text.h"
#include "import/file_properties.h"
#include "import/formats.h"
#include "import/reload.h"
#include "operations/config_file.h"
#include "recording/adc_dac_configuration.h"
#include "recording/recording_recovery.h"
#include "recording/recording_save.h"
#include "results/number_text.h"
#include "sorting/import_sorting.h"
#include "sorting/sorting_set.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr const char* sortingWithoutFileText =
    "Open the recording first that was sorted; its sorting becomes event channels of it.";
constexpr const char* settingsWithoutFileText =
    "You can only load a configuration file (.kymr-cfg or .kymr-batch) when a data file is already open.";

// Of the text with which a file begins that is no configuration.
constexpr size_t longestHeadShown = 200;

// The user's own, where programs keep what is theirs; the recordings in it are the user's to change.
std::filesystem::path FolderOfDemos() {
    const auto folder =
        ToPath(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)) / "demonstration";
    std::filesystem::create_directories(folder);
    return folder;
}

bool HoldsOperationSettings(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    return extension == ".kymr-cfg" || extension == ".kymr-batch";
}

// The folder of a sorting that a path names, itself or by its file of clusters; else empty.
std::filesystem::path SortingOf(FileSystem& files, const std::filesystem::path& path) {
    const std::filesystem::path folder = path.filename() == "spike_clusters.npy" ? path.parent_path() : path;
    return !FindFormat(path).format && HoldsSorting(files, folder) ? folder : std::filesystem::path();
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
    start_->hide();
    const bool maximized = Children().empty() || (before && before->isMaximized());
    auto* child = new CChildFrame(std::move(doc), like);
    mdi_->addSubWindow(child);
    Watch(*child);
    connect(child, &CChildFrame::Going, operations_, [this, child] { operations_->Forget(child); });
    connect(child, &CChildFrame::Going, this, [this, child] {
        // The next one fills the area as this one did.
        if (!child->isMaximized()) return;
        const auto fill = [this] {
            CChildFrame* next = ActiveChild();
            if (next && !next->isMaximized()) next->showMaximized();
        };
        QMetaObject::invokeMethod(this, fill, Qt::QueuedConnection);
    });
    connect(child, &QObject::destroyed, this, [this] {
        NumberWindows();
        UpdateCommands();
        // Not between two recordings of which one takes the place of the other.
        QMetaObject::invokeMethod(this, &CMainFrame::ShowStart, Qt::QueuedConnection);
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

// --- the start page ---

void CMainFrame::MakeStart() {
    start_ = new StartPage(this);
    demoFolder = FolderOfDemos;
    connect(start_, &StartPage::CommandWanted, this,
            [this](const QString& id) { RunCommandById(id.toStdString()); });
    connect(start_, &StartPage::RecentChosen, this, [this](const std::filesystem::path& path) {
        const std::filesystem::path chosen = path;  // the page may be filled anew meanwhile
        OpenRecent(chosen);
        ShowStart();
    });
    connect(start_, &StartPage::RecentRemoved, this, [this](const std::filesystem::path& path) {
        recent_.Remove(std::filesystem::path(path));
        emit SettingsChanged();
        ShowStart();
    });
}

void CMainFrame::ShowStart() {
    const bool wanted = Children().empty();
    if (wanted) {
        std::vector<StartPage::Recent> recent;
        for (const auto& path : recent_.Paths())
            recent.push_back({path, recent_.OpenedAt(path), session_.files.Stamp(path).has_value()});
        start_->ShowRecent(std::move(recent), session_.now());
    }
    const bool comes = wanted && start_->isHidden();
    start_->setVisible(wanted);
    // The area beneath has nothing that a key could work on.
    mdi_->setFocusPolicy(wanted ? Qt::NoFocus : Qt::StrongFocus);
    if (comes) start_->TakeKeys();
}

void CMainFrame::OpenDemo(size_t number) {
    const DemoRecording& demo = DemoRecordings()[number];
    try {
        const std::filesystem::path path = demoFolder() / demo.fileName;
        if (!session_.files.Stamp(path)) {
            // With the seed of the terminal: the same bytes as there.
            Session making(session_.host, session_.files);
            WriteDemoRecording(making, demo, path);
        }
        OpenFile(path);
    } catch (const Cancelled&) {
    } catch (const std::runtime_error& error) {
        session_.host.Failure(std::string("The demonstration recording could not be made.\n") + error.what());
    }
}

// --- opening ---

CChildFrame* CMainFrame::OpenFile(const std::filesystem::path& path, std::optional<OpenTalk> talk) {
    return OpenAs(path, {opening_.purpose, talk.value_or(opening_.talk), opening_.settings}, nullptr);
}

// Where `fault` is, it gets why the file does not open, and the user is not told.
CChildFrame* CMainFrame::OpenAs(const std::filesystem::path& named, const OpenRequest& wanted,
                                std::string* fault) {
    const std::filesystem::path path = RecordingIn(session_.files, named);
    if (CChildFrame* child = FindOpen(path)) {
        mdi_->setActiveSubWindow(child);
        return child;
    }
    OpenRequest request = wanted;
    request.callerTells = fault != nullptr;
    Opened opened = OpenRecording(session_, path, request);
    if (fault) *fault = opened.opening.fault;
    std::shared_ptr<CDataDoc> doc = std::move(opened.document);
    if (!doc) return nullptr;
    recent_.Add(path, session_.now());
    emit SettingsChanged();
    const CChildFrame* const front = ActiveChild();
    const QSize size = front && !front->isMaximized() ? front->size() : QSize();
    TakeRetained(*doc);
    CChildFrame* const child = AddChild(doc);
    if (size.isValid() && CRetainSettings(Retained()).RetainsSize()) child->resize(size);
    TakeLeftVersions(*doc);
    return child;
}

uint32_t CMainFrame::Retained() const { return static_cast<uint32_t>(session_.options.retainedSettings); }

void CMainFrame::TakeRetained(CDataDoc& opened) const {
    const CChildFrame* const front = ActiveChild();
    if (!front || Retained() == 0) return;
    CRetainSettings(Retained()).Apply(front->Document(), front->View().GetDisplaySettings(), opened);
}

void CMainFrame::OnRetainSettings() {
    CRetainSettings settings(Retained());
    if (!settings.Ask(session_.host)) return;
    session_.options.retainedSettings = static_cast<int>(settings.m_choices);
    emit SettingsChanged();
}

void CMainFrame::OpenFiles(const std::vector<std::filesystem::path>& paths, std::optional<OpenTalk> talk) {
    const size_t before = Children().size();
    OpenEach(paths, talk);
    const size_t now = Children().size();
    if (now > 1 && now > before) OnWindowTile();
}

void CMainFrame::OpenEach(const std::vector<std::filesystem::path>& paths, std::optional<OpenTalk> talk) {
    std::vector<std::filesystem::path> recordings, settings, sortings;
    for (const auto& path : paths)
        (HoldsOperationSettings(path)               ? settings
         : !SortingOf(session_.files, path).empty() ? sortings
                                                    : recordings)
            .push_back(path);
    OpenRecordings(recordings, talk);
    for (const auto& path : settings) LoadSettings(path);
    for (const auto& path : sortings) ImportSortingOf(SortingOf(session_.files, path));
}

void CMainFrame::OpenRecordings(const std::vector<std::filesystem::path>& paths,
                                std::optional<OpenTalk> talk) {
    if (paths.empty()) return;
    if (paths.size() == 1) {
        OpenFile(paths.front(), talk);
        return;
    }
    const OpenRequest request{opening_.purpose, talk.value_or(opening_.talk), opening_.settings};
    std::vector<std::string> faults;
    for (const auto& path : paths) {
        std::string fault;
        OpenAs(path, request, &fault);
        if (!fault.empty()) faults.push_back(path.string() + "\n" + fault);
    }
    if (faults.empty()) return;
    std::string text = fmt::format("{} of {} files did not open.", faults.size(), paths.size());
    for (const std::string& fault : faults) text += "\n\n" + fault;
    session_.host.Message(text);
}

void CMainFrame::OnFileOpen() {
    OpenEach(session_.host.ChooseOpenFiles({"Select Files to Open", OpenFilter(), {}, {}}));
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

// Records by an ADC-DAC configuration, and refuses what is no configuration at all. False for one of a
// dialog.
bool CMainFrame::TakeAdcDacConfiguration(const std::filesystem::path& path) {
    try {
        const std::string head = ConfigurationHead(session_, path);
        if (head == adcDacHead) {
            OpenRecorder().LoadConfig(path);
            return true;
        }
        const std::string operation = ConfigClassName(session_, path);
        if (FindOperation(operation) || operation == sortingSetName) return false;
        session_.host.Failure(fmt::format("Unrecognized configuration file: {}\nShould read '{}'",
                                          head.empty() ? std::string("no identifier")
                                                       : TerminalLine(head.substr(0, longestHeadShown)),
                                          adcDacHead));
        return true;
    } catch (const ConfigurationError& error) {
        session_.host.Failure(error.what());
        return true;
    } catch (const FileError&) {
        session_.host.Failure(fmt::format("Couldn't open file {}", path.string()));
        return true;
    }
}

void CMainFrame::LoadSettings(const std::filesystem::path& path) {
    if (FoldedExtension(path) == ".kymr-cfg" && TakeAdcDacConfiguration(path)) return;
    if (!ActiveChild())
        session_.host.Message(settingsWithoutFileText);
    else if (FoldedExtension(path) == ".kymr-cfg")
        operations_->OnLoadConfigFile(path);
    else
        LoadBatchList(path);
}

void CMainFrame::ImportSortingOf(const std::filesystem::path& folder) {
    if (!ActiveChild()) return session_.host.Message(sortingWithoutFileText);
    OperationWindow* window = operations_->Open({FindOperation("CImportSorting")});
    if (window->IsBusy()) return;
    static_cast<CImportSorting&>(window->Block()).m_strFolder = folder.string();
    window->Refresh();
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
    // A text, or what other systems read, is no recording that could take the window's place.
    const bool isText = FoldedExtension(*chosen) == ".txt";
    if (IsExportForm(*chosen)) return ExportForUser(doc, *chosen);
    if (FoldedExtension(*chosen) == recordingExtension) return SaveVisiblePart(doc, *chosen);
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

// The recording itself stays as it is, beside the window of its part.
bool CMainFrame::SaveVisiblePart(CDataDoc& doc, const std::filesystem::path& path) {
    auto* const recording = dynamic_cast<CAcqDoc*>(&doc);
    if (!recording) return false;
    const auto saved = SaveRecording(*recording, saveVisibleCommand, {path});
    return saved && OpenFile(*saved);
}

void CMainFrame::TakeUpLeftRecordings(const std::filesystem::path& folder) {
    for (const auto& saved : OfferLeftRecordings(session_, folder)) OpenFile(saved);
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

void CMainFrame::OnFileReload() {
    constexpr int shownMs = 10000;
    CChildFrame* const active = ActiveChild();
    if (!active || isTransforming_) return;
    const QScopedValueRollback working(isTransforming_, true);
    CDataDoc& doc = active->Document();
    const std::vector<CChildFrame*> children = ChildrenOf(doc);
    for (const CChildFrame* child : children)
        if (child->View().Mouse().Drag()) child->View().Escape();
    const double endBefore = active->View().GetNavigation().end;
    const ReloadResult result = ReloadDocument(doc);
    if (result.state == ReloadState::refused) {
        session_.host.Failure(result.text);
        return;
    }
    for (const CChildFrame* child : children) {
        const Viewport viewport = child->View().GetNavigation().FollowEnd(endBefore);
        if (viewport != child->View().GetViewport()) child->View().ChangeViewport(viewport, false);
    }
    statusBar()->showMessage(ToQString(result.text), shownMs);
    NumberWindows();
    UpdateCommands();
}

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
    TakeThemeColours();
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
