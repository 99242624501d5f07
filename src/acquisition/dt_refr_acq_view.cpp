#include "acquisition/dt_refr_acq_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "acquisition/acq_faults.h"
#include "import/open_document.h"
#include "recording/output_pulse_buffers.h"
#include "recording/recording_save.h"

namespace kymora {

namespace {

constexpr const char* noStimulusText =
    "You need a DT board with stimulus capabilities to run the Refractory protocol.";
constexpr const char* noSaveFileText = "Couldn't open save file";
constexpr const char* windowLeftText =
    "The monitored window, which moves with the delay, has left the sweep. The search has ended.";
constexpr const char* otherDurationText =
    "You have data currently displayed that will be erased if you change the sweep acquisition duration. "
    "Continue?";
constexpr const char* noTimerText = "No timer available";
constexpr const char* noLengthText = "A sweep needs a duration above 0 ms.";
constexpr uint32_t stillSpikeColour = 255;
constexpr int mostTimerMs = 1000000000;
constexpr double mostPulseSamples = 1e7;

int64_t Samples(double ms, double kHz) { return std::llround(ms * kHz); }

}  // namespace

CDTRefrAcqView::CDTRefrAcqView(Session& session, AcqEventLoop& loop, std::unique_ptr<Board> board)
    : CDTAcqView(session, loop, std::move(board)) {
    m_settings = AcquisitionSettings(RecordingType::refractoryManual);
}

CDTRefrAcqView::~CDTRefrAcqView() {
    m_pObserver = nullptr;
    OnStop();
}

bool CDTRefrAcqView::Open() {
    if (!OpenBoard()) return false;
    if (DacChannels() > 0) return true;
    Fail(noStimulusText);
    return false;
}

// --- a sweep ---

int64_t CDTRefrAcqView::SweepScans() const { return Samples(Refractory().m_fSweepDur, FrequencyKHz()) + 1; }

// An even number of samples: one more scan where it would be odd.
size_t CDTRefrAcqView::ScansOfBuffer() const {
    const auto scans = static_cast<size_t>(SweepScans());
    return scans + scans * ActiveChannels().size() % 2;
}

// Why the pulses of the next sweep cannot be played; empty where they can.
std::string CDTRefrAcqView::PulseFault(const DacRange& range) const {
    const RefractorySettings& r = Refractory();
    for (const float volts : {r.m_fPreAmp, AmplitudeNow()})
        if (!(volts >= range.m_fDacLow && volts <= range.m_fDacHigh))
            return fmt::format("A pulse of {:.6g} V is beyond the outputs of the board, which give {:.6g} to "
                               "{:.6g} V.",
                               volts, range.m_fDacLow, range.m_fDacHigh);
    const double end =
        std::max(double{r.m_fPreDelay} + r.m_fPreDur, double{DelayNow()} + r.m_fTrialDur) * OutputKHz();
    if (end < mostPulseSamples) return {};
    return "The pulses of a sweep are too long for the memory of the board. Begin them earlier, or make them "
           "shorter.";
}

bool CDTRefrAcqView::BuildStimulus(const DacRange& range) {
    const RefractorySettings& r = Refractory();
    if (const std::string fault = PulseFault(range); !fault.empty()) {
        Fail(fault);
        return false;
    }
    const auto at = [this](float ms) { return Samples(ms, OutputKHz()); };
    const float amplitude = AmplitudeNow();
    const int64_t preStart = at(r.m_fPreDelay), preEnd = preStart + at(r.m_fPreDur);
    const int64_t start = at(DelayNow()), end = start + at(r.m_fTrialDur);
    int64_t length = std::max<int64_t>(amplitude == 0.0f ? preEnd : std::max(preEnd, end), 0) + 1;
    length += length % 2;
    std::vector<int32_t> codes(static_cast<size_t>(length));
    for (int64_t i = 0; i < length; ++i) {
        float volts = 0.0f;
        if (i >= preStart && i < preEnd) volts += r.m_fPreAmp;
        if (i >= start && i < end) volts += amplitude;
        codes[static_cast<size_t>(i)] = range.ToDacCode(volts);
    }
    for (size_t done = 0; done < codes.size(); done += outputBufferSamples)
        if (!Queue(std::span(codes).subspan(done, std::min(outputBufferSamples, codes.size() - done))))
            return false;
    return true;
}

// The sweeps that are kept belong together: they are saved in one file.
bool CDTRefrAcqView::PrepareSweep() {
    if (!(Refractory().m_fSweepDur > 0.0f)) {
        Fail(noLengthText);
        return false;
    }
    if (!PrepareStart()) return false;
    if (!m_data.list.empty() && !AreSettingsOfSweeps()) {
        Fail("Sweeps of other channels, gains or search, or of another rate are kept. Save or delete them "
             "first.");
        return false;
    }
    m_sweepChannels = ActiveChannels();
    m_sweep.assign(static_cast<size_t>(SweepScans()) * Format().ScanBytes(), std::byte{0});
    return true;
}

bool CDTRefrAcqView::AreSettingsOfSweeps() const {
    return !m_pLoaded && m_data.type == m_settings.m_eRecordingType && m_sweepChannels == ActiveChannels() &&
           m_data.sampleInterval == m_settings.m_dSampleInterval && m_data.format == Format();
}

bool CDTRefrAcqView::FireSweep(AcqState state) {
    m_mailbox.Clear();
    SetState(state);
    if (StartSweep(m_sweep)) return true;
    OnStop();
    return false;
}

// --- automatic ---

bool CDTRefrAcqView::OnStart() {
    if (!IsIdle()) {
        GetHost().Failure("A search is under way already. Stop it before you start another one.");
        return false;
    }
    m_bFailed = false;
    if (!MayRecord()) return false;
    // The rate of the board is known once it is configured.
    if (!PrepareStart()) return false;
    std::string fault = SearchFault(Refractory(), FrequencyKHz());
    if (fault.empty() && Refractory().m_nMonitorTrace >= Format().channels)
        fault = fmt::format("Trace {} is monitored (from 0), and {} are recorded.",
                            Refractory().m_nMonitorTrace, Format().channels);
    if (!fault.empty()) {
        Fail(fault);
        return false;
    }
    OnDeleteAll();
    m_pSearch = std::make_unique<RefractorySearch>(Refractory(), FrequencyKHz());
    m_thresholds.push_back({m_pSearch->Delay(), {}, 0});
    if (!PrepareSweep()) {
        m_pSearch.reset();
        return false;
    }
    const double period = std::round(1000.0 / Refractory().m_fSearchRate);
    if (!Loop().SetTimer(searchTimer, static_cast<int>(std::min<double>(period, mostTimerMs)))) {
        m_pSearch.reset();
        Fail(noTimerText);
        return false;
    }
    if (m_pObserver) m_pObserver->OnBegun();
    return FireSweep(AcqState::episode);
}

void CDTRefrAcqView::OnStop() {
    if (IsIdle()) return;
    Loop().KillTimer(searchTimer);
    StopBoard();
    m_mailbox.Clear();
    m_fAmpNow = AmplitudeNow();
    m_fDelayNow = DelayNow();
    m_pSearch.reset();
    SetState(AcqState::idle);
}

void CDTRefrAcqView::OnTimer(int id) {
    if (id == searchTimer && State() == AcqState::betweenEpisodes) FireSweep(AcqState::episode);
}

void CDTRefrAcqView::OnWake() {
    if (IsIdle()) return;
    for (const auto& [message, text] : acqFaults)
        if (m_mailbox.Take(message)) {
            OnStop();
            Fail(text);
            return;
        }
    if (m_mailbox.TakeDataReady() > 0) TakeSweep();
}

void CDTRefrAcqView::TakeSweep() {
    if (m_data.list.empty()) {
        m_data.format = Format();
        m_data.sampleInterval = m_settings.m_dSampleInterval;
        m_data.type = m_settings.m_eRecordingType;
        m_data.windowDelay = Refractory().m_fTrialDelay0;
    }
    RefractorySweep& sweep = m_data.list.emplace_back();
    sweep.samples = m_sweep;
    sweep.amplitude = AmplitudeNow();
    sweep.delay = DelayNow();
    sweep.time = GetSession().now();
    sweep.number = m_nNumber++;
    m_nSelected = m_data.list.size() - 1;
    SetSweepCount(m_nSweepCount + 1);
    if (m_pObserver) m_pObserver->OnScans(sweep.samples);
    if (m_pSearch)
        Judge(sweep);
    else
        SetState(AcqState::idle);
}

void CDTRefrAcqView::SetSweepCount(int count) {
    m_nSweepCount = count;
    m_strStatus = fmt::format("count: {}", count);
}

void CDTRefrAcqView::Judge(RefractorySweep& sweep) {
    const std::vector<float> volts =
        m_data.Volts(m_nSelected, Refractory().m_nMonitorTrace, 0, m_data.ScansOf(m_nSelected));
    const auto judged = m_pSearch->Judge(volts, [this](const std::string& line) { GetHost().Log(line); });
    sweep.delta = judged.change;
    m_nSpikesHere = m_pSearch->SpikesHere();
    m_nSpikesTotal = m_pSearch->SpikesTotal();
    m_nSweepCount = m_pSearch->SweepCount();
    RefractoryThreshold& here = m_thresholds.back();
    if (judged.isAccepted) {
        sweep.isAccepted = sweep.hasSpike = m_bUnsaved = true;
        sweep.colour = judged.isFirst ? m_nSpikeColour : stillSpikeColour;
        here.amplitude = std::min(here.amplitude.value_or(sweep.amplitude), sweep.amplitude);
    }
    if (judged.isFirst) ++here.spikes;
    if (judged.isDelayDone && judged.goesOn) m_thresholds.push_back({m_pSearch->Delay(), {}, 0});
    if (!judged.goesOn) return OnStop();
    if (!m_pSearch->HasWindowIn(SweepScans())) {
        OnStop();
        GetHost().Message(windowLeftText);
        return;
    }
    GoOn();
}

void CDTRefrAcqView::GoOn() {
    if (!PrepareSweep()) return OnStop();
    SetState(AcqState::betweenEpisodes);
}

// --- by hand ---

bool CDTRefrAcqView::OnTry() {
    if (!IsIdle()) return false;
    m_bFailed = false;
    if (!MayRecord()) return false;
    // Initial values that the user has changed count at once.
    const RefractorySettings& r = Refractory();
    const std::pair before(m_fAmpNow, m_fDelayNow);
    if (m_fAmpBegan != r.m_fTrialAmp0)
        m_fAmpNow = r.m_fTrialAmp0;
    else if (r.m_bStepOnAccept)
        m_fAmpNow += r.m_fAmpStep;
    if (m_fDelayBegan != r.m_fTrialDelay0) m_fDelayNow = r.m_fTrialDelay0;
    if (!PrepareSweep()) {
        std::tie(m_fAmpNow, m_fDelayNow) = before;
        return false;
    }
    m_fAmpBegan = r.m_fTrialAmp0;
    m_fDelayBegan = r.m_fTrialDelay0;
    if (m_fDelayNow != before.second) SetSweepCount(0);
    return FireSweep(AcqState::recording);
}

// Null where there is none.
const RefractorySweep* CDTRefrAcqView::SweepToAccept() const {
    if (!IsIdle() || m_data.list.empty()) return nullptr;
    const RefractorySweep& one = IsAutomatic() ? m_data.list[m_nSelected] : m_data.list.back();
    return one.isAccepted ? nullptr : &one;
}

bool CDTRefrAcqView::OnAccept() {
    const RefractorySweep* accepted = SweepToAccept();
    if (!accepted) {
        GetHost().Failure(IsAutomatic() ? "There is no sweep to accept, or it is accepted already."
                                        : "There is no new sweep to accept.");
        return false;
    }
    RefractorySweep& sweep = m_data.list[static_cast<size_t>(accepted - m_data.list.data())];
    sweep.isAccepted = m_bUnsaved = true;
    sweep.colour = m_nSpikeColour;
    if (IsAutomatic()) return true;
    m_fAmpNow = Refractory().m_fTrialAmp0;
    m_fAmpBegan = std::numeric_limits<float>::quiet_NaN();
    if (!Refractory().m_bStepOnAccept) return true;
    m_fDelayNow += Refractory().m_fDelayStep;
    SetSweepCount(0);
    return true;
}

void CDTRefrAcqView::OnClear() {
    if (!IsIdle()) return;
    for (RefractorySweep& sweep : m_data.list) sweep.isCleared = !sweep.isAccepted;
}

void CDTRefrAcqView::OnDeleteAll() {
    m_data = {};
    m_pLoaded.reset();
    m_thresholds.clear();
    m_changesOf.reset();
    m_strStatus.clear();
    m_nSelected = 0;
    m_nSweepCount = m_nSpikesHere = m_nSpikesTotal = 0;
    m_fAmpBegan = m_fDelayBegan = std::numeric_limits<float>::quiet_NaN();
    m_bUnsaved = false;
}

void CDTRefrAcqView::GiveUp() {
    CAcqView::GiveUp();
    if (IsIdle()) OnDeleteAll();
}

const char* CDTRefrAcqView::ClearQuestion(const AcquisitionSettings& settings) const {
    const bool isOther = settings.refractory.m_fSweepDur != Refractory().m_fSweepDur;
    return isOther && !m_data.list.empty() ? otherDurationText : nullptr;
}

std::vector<RefractoryThreshold> CDTRefrAcqView::Thresholds() const {
    return m_thresholds.empty() ? ThresholdsOf(m_data) : m_thresholds;
}

std::pair<double, double> CDTRefrAcqView::Window() const {
    if (m_pSearch) return {m_pSearch->WinStart(), m_pSearch->WinEnd()};
    return {Refractory().m_fWinStart, Refractory().m_fWinEnd};
}

// --- saving ---

bool CDTRefrAcqView::OnSave() {
    if (AcceptedCount() == 0) {
        Fail("No sweep was accepted, so that there is nothing to save.");
        return false;
    }
    if (!m_pLoaded &&
        (m_sweepChannels != ActiveChannels() || m_data.sampleInterval != m_settings.m_dSampleInterval)) {
        Fail("Channels or rate were changed since these sweeps. Set them back to save.");
        return false;
    }
    if (!m_saveAs.empty()) return MaySaveAs() && SaveTo(m_saveAs);
    const auto path = GetHost().ChooseSaveFile(
        {"Save data to file", "Kymora recording (*.kymr-rec)|*.kymr-rec||", recordingExtension + 1, {}});
    return path && SaveTo(WithRecordingExtension(*path));
}

bool CDTRefrAcqView::SaveTo(const std::filesystem::path& path) {
    CAcqDoc doc(GetSession());
    if (m_pLoaded)
        CopyRecordingHead(*m_pLoaded, doc);
    else
        FillDocument(doc);
    // Of the search and the amplifiers that the sweeps came from, whatever is set now.
    doc.m_eRecordingType = m_data.type;
    for (size_t i = 0; i < m_data.format.channels; ++i)
        doc.traces[i].traceGain = doc.m_dChannelGain[i] = m_data.format.gains[i];
    try {
        if (!doc.WriteAcqFileStart(m_temporaryFolder)) {
            Fail(noSaveFileText);
            return false;
        }
        WriteSweeps(doc, m_data, path);
    } catch (const FileError& error) {
        Fail(fmt::format("{}\n{}", noSaveFileText, error.what()));
        try {
            doc.DiscardRecording();
        } catch (const FileError& left) {
            GetHost().Log(std::string(left.what()) + "\n");
        }
        return false;
    }
    m_bUnsaved = false;
    if (m_pObserver) m_pObserver->OnSaved(path);
    return true;
}

// --- review ---

bool CDTRefrAcqView::OnLoadReview(std::optional<std::filesystem::path> path) {
    if (!IsIdle()) {
        GetHost().Failure("A search is under way. Stop it before you load a file.");
        return false;
    }
    if (!path) {
        const auto chosen =
            GetHost().ChooseOpenFiles({"File to load",
                                       "Kymora DataTranslation recording (*.kymr-rec)|*.kymr-rec||",
                                       recordingExtension + 1,
                                       {}});
        if (chosen.empty()) return false;
        path = chosen.front();
    }
    try {
        auto opened = OpenDocument(GetSession(), *path, {OpenFor::reading, OpenTalk::tells});
        if (!opened) return false;
        const bool isRecording = dynamic_cast<CAcqDoc*>(opened.get()) != nullptr;
        if (!isRecording) throw FileError(onlySearchesText, 0);
        std::unique_ptr<CAcqDoc> doc(static_cast<CAcqDoc*>(opened.release()));
        RefractorySweeps sweeps = SweepsOf(*doc);
        OnDeleteAll();
        m_data = std::move(sweeps);
        m_pLoaded = std::move(doc);
        for (RefractorySweep& sweep : m_data.list) {
            sweep.colour = m_nSpikeColour;
            sweep.number = m_nNumber++;
        }
        return true;
    } catch (const FileError& error) {
        GetHost().Failure(error.what());
        return false;
    }
}

void CDTRefrAcqView::Select(size_t sweep) {
    m_nSelected = m_data.list.empty() ? 0 : std::min(sweep, m_data.list.size() - 1);
    if (!m_data.list.empty()) m_data.list[m_nSelected].isCleared = false;
}

const std::vector<std::optional<float>>& CDTRefrAcqView::Changes() const {
    std::pair now(Refractory(), m_data.list.size());
    if (m_changesOf != now) {
        m_changes = ChangesOf(m_data, Refractory());
        m_changesOf = std::move(now);
    }
    return m_changes;
}

std::optional<float> CDTRefrAcqView::ReviewChange() const {
    return m_data.list.empty() ? std::nullopt : Changes()[m_nSelected];
}

std::string CDTRefrAcqView::ReviewFault() const {
    if (m_data.list.empty() || ReviewChange()) return {};
    const bool isThere = Refractory().m_nMonitorTrace < m_data.format.channels &&
                         WindowsOf(m_data, Refractory())[m_nSelected].IsIn(m_data.ScansOf(m_nSelected));
    return isThere ? fewReviewSweepsText : windowBeyondText;
}

std::pair<double, double> CDTRefrAcqView::ReviewWindow() const {
    if (m_data.list.empty()) return Window();
    const MonitoredWindow window = WindowsOf(m_data, Refractory())[m_nSelected];
    return {static_cast<double>(window.first) * m_data.sampleInterval,
            static_cast<double>(window.first + window.samples) * m_data.sampleInterval};
}

size_t CDTRefrAcqView::OnRecalculate() {
    size_t count = 0;
    for (size_t i = 0; i < m_data.list.size(); ++i) {
        if (!Changes()[i]) continue;
        m_data.list[i].delta = *Changes()[i];
        m_bUnsaved = m_bUnsaved || m_data.list[i].isAccepted;
        ++count;
    }
    return count;
}

int CDTRefrAcqView::SpikesHere() const {
    if (!m_pLoaded || m_data.list.empty()) return m_nSpikesHere;
    return static_cast<int>(std::ranges::count_if(m_data.list, [this](const RefractorySweep& one) {
        return one.isAccepted && one.delay == m_data.list[m_nSelected].delay;
    }));
}

void CDTRefrAcqView::OnDeleteSweep() {
    if (!IsIdle() || m_data.list.empty()) return;
    m_bUnsaved = m_bUnsaved || m_data.list[m_nSelected].isAccepted;
    m_data.list.erase(m_data.list.begin() + static_cast<std::ptrdiff_t>(m_nSelected));
    m_bUnsaved = m_bUnsaved && AcceptedCount() > 0;
    m_changesOf.reset();
    Select(m_nSelected);
}

}  // namespace kymora
