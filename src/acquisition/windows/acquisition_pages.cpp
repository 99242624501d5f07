#include "acquisition/windows/acquisition_pages.h"

#include <QKeyEvent>
#include <QLabel>
#include <QTabWidget>
#include <QVBoxLayout>
#include <utility>

#include "acquisition/windows/acquisition_page.h"
#include "widgets/form_editor.h"
#include "widgets/text.h"

namespace kymora {

AcquisitionPages::AcquisitionPages(Session& session, QWidget* parent)
    : QWidget(parent),
      state_(session),
      tabs_(new QTabWidget(this)),
      locked_(new QLabel(this)),
      fault_(new QLabel(this)) {
    state_.resetSequence = [this] { emit ResetSequence(); };
    state_.pauseSequence = [this](bool isPaused) { emit PauseSequence(isPaused); };
    tabs_->setDocumentMode(true);
    tabs_->setUsesScrollButtons(true);
    fault_->setObjectName("fault");
    fault_->setTextFormat(Qt::RichText);
    fault_->setTextInteractionFlags(Qt::LinksAccessibleByMouse);
    locked_->setObjectName("locked");
    locked_->setTextFormat(Qt::PlainText);
    locked_->setAutoFillBackground(true);
    locked_->setBackgroundRole(QPalette::ToolTipBase);
    locked_->setForegroundRole(QPalette::ToolTipText);
    for (QLabel* line : {locked_, fault_}) {
        line->setWordWrap(true);
        line->setContentsMargins(8, 2, 8, 4);
        line->hide();
    }
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(locked_);
    column->addWidget(tabs_, 1);
    column->addWidget(fault_);
    connect(tabs_, &QTabWidget::currentChanged, this, [this] { ShowFaults(); });
    connect(fault_, &QLabel::linkActivated, this, [this](const QString& page) {
        tabs_->setCurrentIndex(page.toInt());
        Current()->FocusFault();
    });
    Build();
}

AcquisitionPages::~AcquisitionPages() = default;

void AcquisitionPages::Build() {
    for (auto& page : MakeAcqPropPages(state_))
        Take(new AcquisitionPage(state_.session, std::move(page), tabs_));
    ShowTabs();
}

void AcquisitionPages::ShowTabs() {
    for (int i = 0; i < tabs_->count(); ++i)
        tabs_->setTabVisible(i, pages_[static_cast<size_t>(i)]->Page().IsThere());
}

void AcquisitionPages::Take(AcquisitionPage* page) {
    pages_.push_back(page);
    tabs_->addTab(page, ToQString(page->Page().Title()));
    connect(page, &AcquisitionPage::Changed, this, &AcquisitionPages::OnChanged);
    connect(page, &AcquisitionPage::PutBack, this, &AcquisitionPages::ShowFaults);
}

AcquisitionPage* AcquisitionPages::Current() const {
    return static_cast<AcquisitionPage*>(tabs_->currentWidget());
}

// May come while something is being entered: the board of other settings is another one.
void AcquisitionPages::SetBoard(BoardFacts board) {
    state_.board = std::move(board);
    ++state_.boardNumber;
    ShowTabs();
    for (AcquisitionPage* page : pages_) page->Refresh();
}

void AcquisitionPages::Show(const AcquisitionSettings& settings, const SourceSettings& source) {
    const bool isOtherKind = state_.settings.m_eRecordingType != settings.m_eRecordingType &&
                             !(state_.settings.IsRefractory() && settings.IsRefractory());
    state_.settings = settings;
    state_.source = source;
    ShowTabs();
    for (int i = tabs_->count() - 1; isOtherKind && i >= 0; --i)
        if (tabs_->isTabVisible(i)) tabs_->setCurrentIndex(i);
    for (AcquisitionPage* page : pages_) page->Revert();
    ShowFaults();
}

void AcquisitionPages::SetAxis(size_t channel, double top, double bottom) {
    state_.settings.channels[channel].axisA = top;
    state_.settings.channels[channel].axisB = bottom;
    if (AcquisitionPage* page = Current()) page->Refresh();
}

void AcquisitionPages::SetLocked(const QString& why) {
    if (why == locked_->text()) return;
    locked_->setText(why);
    locked_->setVisible(!why.isEmpty());
    for (AcquisitionPage* page : pages_) page->SetLocked(!why.isEmpty());
}

void AcquisitionPages::SetSequence(int64_t index, bool isPaused) {
    if (state_.sequenceIndex == index && state_.isSequencePaused == isPaused) return;
    state_.sequenceIndex = index;
    state_.isSequencePaused = isPaused;
    if (AcquisitionPage* page = Current()) page->Refresh();
}

void AcquisitionPages::SetRefractory(const RefractoryReadings& readings) {
    if (state_.refractory == readings) return;
    state_.refractory = readings;
    if (AcquisitionPage* page = Current()) page->Refresh();
}

void AcquisitionPages::SetRefractoryCommands(RefractoryCommands commands) {
    state_.refractoryCommands = std::move(commands);
}

void AcquisitionPages::SetOpenFiles(std::function<std::vector<std::filesystem::path>()> files) {
    state_.openFiles = std::move(files);
}

bool AcquisitionPages::ShowPage(const QString& title) {
    for (int i = 0; i < tabs_->count(); ++i) {
        if (!tabs_->isTabVisible(i) || tabs_->tabText(i).remove('&') != title) continue;
        tabs_->setCurrentIndex(i);
        return true;
    }
    return false;
}

// --- faults ---

std::string AcquisitionPages::Fault() const {
    for (const AcquisitionPage* page : pages_)
        if (std::string fault = page->Fault(); !fault.empty() && page->Page().IsThere()) return fault;
    std::string fault = SettingsFault(state_.settings);
    return fault.empty() && state_.board.isSimulated ? SourceSettingsFault(state_.source) : fault;
}

void AcquisitionPages::FocusFault() {
    for (AcquisitionPage* page : pages_) {
        if (page->Fault().empty() || !page->Page().IsThere()) continue;
        tabs_->setCurrentWidget(page);
        page->FocusFault();
        return ShowFaults();
    }
    ShowFaults(ToQString(Fault()));
}

void AcquisitionPages::OnChanged() {
    // A page may have changed what the recording is.
    ShowTabs();
    ShowFaults();
    emit Changed();
}

// A fault of another page is told with its name, which leads there.
void AcquisitionPages::ShowFaults(const QString& more) {
    QPalette colours = palette();
    const QColor colour = FaultColour(colours);
    colours.setColor(QPalette::WindowText, colour);
    fault_->setPalette(colours);
    QStringList lines;
    if (!more.isEmpty()) lines += more.toHtmlEscaped();
    for (int i = 0; i < tabs_->count(); ++i) {
        const AcquisitionPage* page = pages_[static_cast<size_t>(i)];
        const std::string fault = page->Page().IsThere() ? page->Fault() : std::string();
        if (fault.empty()) continue;
        const QString name = tabs_->tabText(i).remove('&').toHtmlEscaped();
        const QString link =
            QString("<a href=\"%1\" style=\"color: %2\">%3</a>: ").arg(i).arg(colour.name(), name);
        lines += (page == Current() ? QString() : link) + ToQString(fault).toHtmlEscaped();
    }
    fault_->setText(lines.join("<br>"));
    fault_->setVisible(!lines.isEmpty());
}

void AcquisitionPages::keyPressEvent(QKeyEvent* event) {
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isEnter || !Current()) return QWidget::keyPressEvent(event);
    Current()->Finish();
}

}  // namespace kymora
