// The refractory protocol in the recording window.

#include <QPushButton>
#include <QStackedWidget>
#include <cmath>

#include <fmt/format.h>

#include "acquisition/dt_refr_acq_view.h"
#include "acquisition/windows/acquisition_pages.h"
#include "acquisition/windows/recording_window.h"
#include "acquisition/windows/refractory_panel.h"
#include "widgets/notice_bar.h"
#include "widgets/text.h"

namespace kymora {

std::string RecordingWindow::BoardOf(const std::string& source) {
    return source.starts_with(refractoryPrefix) ? source.substr(refractoryPrefix.size()) : source;
}

void RecordingWindow::MakeRefractory() {
    panel_ = new RefractoryPanel(session_, stack_);
    stack_->addWidget(panel_);
    connect(panel_, &RefractoryPanel::WindowMoved, this, &RecordingWindow::MoveWindow);
    RefractoryCommands commands;
    commands.load = [this] { LoadReview({}); };
    commands.recalculate = [this] { Recalculate(); };
    commands.deleteSweep = [this] { DeleteSweep(); };
    commands.select = [this](size_t sweep) { SelectSweep(sweep); };
    commands.setSpikeColour = [this](uint32_t colour) {
        if (nerve_) nerve_->m_nSpikeColour = colour;
    };
    protocol_->SetRefractoryCommands(std::move(commands));
}

bool RecordingWindow::OpenRefractoryEngine(const std::string& board) {
    std::unique_ptr<Board> made = BoardNamed(board);
    if (!made) return false;
    auto view = std::make_unique<CDTRefrAcqView>(session_, loop_, std::move(made));
    if (!view->Open()) return false;
    nerve_ = view.get();
    observers_.Remove(*live_);
    observers_.Add(*panel_);
    panel_->Show(nerve_);
    TakeBoard(std::move(view), board == simulatedSource);
    return true;
}

void RecordingWindow::CloseRefractory() {
    if (!nerve_) return;
    nerve_ = nullptr;
    panel_->Show(nullptr);
    observers_.Remove(*panel_);
    observers_.Add(*live_);
}

void RecordingWindow::UpdateRefractory(const RecordingControls& controls) {
    for (QWidget* part : OfSweeps()) part->setVisible(nerve_);
    for (QWidget* part : OfStreams()) part->setVisible(!nerve_);
    accept_->setEnabled(nerve_ && controls.settings && nerve_->MayAccept());
    clear_->setEnabled(nerve_ && controls.settings && !nerve_->Sweeps().empty());
    deleteAll_->setEnabled(clear_->isEnabled());
    if (!nerve_) return;
    start_->setToolTip(nerve_->IsAutomatic()
                           ? tr("Start timed stimulus with automatic spike detection and step "
                                "trial pulse amplitude (F5)")
                           : tr("Stimulate and optionally step trial pulse amplitude (F5)"));
    stop_->setToolTip(tr("Stop timed stimulus (F6)"));
    save_->setToolTip(tr("Save accepted sweeps to file (F9)"));
    RefractoryReadings now;
    now.amplitude = nerve_->AmplitudeNow();
    now.delay = nerve_->DelayNow();
    now.sweepCount = nerve_->SweepCount();
    now.spikesHere = nerve_->SpikesHere();
    now.spikesTotal = nerve_->SpikesTotal();
    now.sweeps = nerve_->Sweeps().size();
    now.selected = nerve_->Selected();
    if (now.sweeps > 0) now.change = nerve_->Sweeps().back().delta;
    now.spikeColour = nerve_->m_nSpikeColour;
    if (nerve_->Loaded()) now.file = nerve_->Loaded()->filePath.filename().string();
    // While a search runs, nothing is reviewed.
    if (nerve_->IsIdle() && nerve_->IsAutomatic()) {
        now.reviewChange = nerve_->ReviewChange();
        now.reviewFault = nerve_->ReviewFault();
    }
    protocol_->SetRefractory(now);
    panel_->Update();
}

// --- buttons ---

void RecordingWindow::Accept() {
    if (!nerve_) return;
    nerve_->OnAccept();
    SoonUpdate();
}

void RecordingWindow::Clear() {
    if (!nerve_) return;
    nerve_->OnClear();
    SoonUpdate();
}

void RecordingWindow::DeleteAll() {
    if (!nerve_ || !nerve_->IsIdle()) return;
    if (!Confirms("All sweeps are deleted without saving them. Continue?")) return;
    nerve_->OnDeleteAll();
    SoonUpdate();
}

// --- review ---

bool RecordingWindow::LoadReview(std::optional<std::filesystem::path> path) {
    if (!nerve_ || !nerve_->IsAutomatic() || !nerve_->IsIdle() || !MayLoseSamples()) return false;
    const QtAcqLoop::Hold alone(loop_);
    const bool isLoaded = nerve_->OnLoadReview(std::move(path));
    SoonUpdate();
    return isLoaded;
}

bool RecordingWindow::SelectSweep(size_t sweep) {
    if (!nerve_ || !nerve_->IsIdle() || sweep >= nerve_->Sweeps().size()) return false;
    nerve_->Select(sweep);
    SoonUpdate();
    return true;
}

void RecordingWindow::Recalculate() {
    if (!nerve_ || !nerve_->IsIdle()) return;
    const size_t count = nerve_->OnRecalculate();
    const std::string text = count == 0 ? nerve_->ReviewFault()
                                        : fmt::format("{} of {} sweeps have the deltas of this window now.",
                                                      count, nerve_->Sweeps().size());
    notice_->Dismiss();
    Say(text);
    SoonUpdate();
}

void RecordingWindow::DeleteSweep() {
    if (!nerve_) return;
    nerve_->OnDeleteSweep();
    SoonUpdate();
}

// The window of the sweep under review; that of the settings lies as far from it as before.
void RecordingWindow::MoveWindow(const QString& parameter, double ms) {
    if (!nerve_ || !ControlsOf(*nerve_).settings) return;
    AcquisitionSettings settings = nerve_->m_settings;
    const double moved = nerve_->ReviewWindow().first - settings.refractory.m_fWinStart;
    const double interval = settings.m_dSampleInterval;
    float& end = parameter == "winStart" ? settings.refractory.m_fWinStart : settings.refractory.m_fWinEnd;
    end = static_cast<float>(std::round((ms - moved) / interval) * interval);
    TakeChanged(settings);
    ShowSettings();
    UpdateControls();
}

}  // namespace kymora
