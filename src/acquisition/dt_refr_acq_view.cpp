#include "acquisition/dt_refr_acq_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "acquisition/acq_faults.h"
#include "recording/output_pulse_buffers.h"
#include "recording/recording_save.h"

namespace kymora {

namespace {

constexpr const char* noStimulusText =
    "You need a DT board with stimulus capabilities to run the Refractory protocol.";
constexpr const char* noSaveFileText = "Couldn't open save file";
constexpr const char* windowLeftText =
    "The monitored window, which moves with the delay, has left the sweep. The search has ended.";
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

size_t CDTRefrAcqView::AcceptedCount() const {
    return static_cast<size_t>(
        std::count_if(m_sweeps.begin(), m_sweeps.end(), [](const Sweep& one) { return one.isAccepted; }));
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
    if (!PrepareStart()) return false;
    const bool isSame =
        m_sweepChannels == ActiveChannels() && m_dSweepInterval == m_settings.m_dSampleInterval;
    if (!m_sweeps.empty() && !isSame) {
        Fail("Sweeps of other channels or another rate are kept. Save or delete them first.");
        return false;
    }
    m_sweepChannels = ActiveChannels();
    m_dSweepInterval = m_settings.m_dSampleInterval;
    m_sweep.assign(static_cast<size_t>(SweepScans()) * Format().ScanBytes(), std::byte{0});
    return true;
}

bool CDTRefrAcqView::FireSweep(AcqState state) {
    m_mailbox.Clear();
    SetState(state);
    if (StartSweep(m_sweep)) return true;
    OnStop();
    return false;
}

std::vector<float> CDTRefrAcqView::Monitored(const Sweep& sweep) const {
    const size_t scanBytes = Format().ScanBytes();
    std::vector<float> volts;
    for (size_t at = 0; at + scanBytes <= sweep.samples.size(); at += scanBytes)
        volts.push_back(static_cast<float>(
            Format().Volts(std::span(sweep.samples).subspan(at, scanBytes), Refractory().m_nMonitorTrace)));
    return volts;
}

// --- automatic ---

bool CDTRefrAcqView::OnStart() {
    if (!IsIdle()) {
        GetHost().Failure("A search is under way already. Stop it before you start another one.");
        return false;
    }
    m_bFailed = false;
    if (!MayRecord()) return false;
    OnDeleteAll();
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
    m_pSearch = std::make_unique<RefractorySearch>(Refractory(), FrequencyKHz());
    m_thresholds.push_back({m_pSearch->Delay(), {}, 0});
    if (!PrepareSweep()) {
        m_pSearch.reset();
        return false;
    }
    const double period = std::round(1000.0 / Refractory().m_fSearchRate);
    Loop().SetTimer(searchTimer, static_cast<int>(std::min<double>(period, mostTimerMs)));
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
    Sweep& sweep = m_sweeps.emplace_back();
    sweep.samples = m_sweep;
    sweep.amplitude = AmplitudeNow();
    sweep.delay = DelayNow();
    sweep.time = GetSession().now();
    if (m_pObserver) m_pObserver->OnScans(sweep.samples);
    if (m_pSearch)
        Judge(sweep);
    else
        SetState(AcqState::idle);
}

void CDTRefrAcqView::Judge(Sweep& sweep) {
    const auto judged =
        m_pSearch->Judge(Monitored(sweep), [this](const std::string& line) { GetHost().Log(line); });
    sweep.delta = judged.change;
    Threshold& here = m_thresholds.back();
    if (judged.isAccepted) {
        sweep.isAccepted = true;
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
    if (m_bFresh) m_fAmpNow = Refractory().m_fTrialAmp0;
    if (m_bNew) m_fDelayNow = Refractory().m_fTrialDelay0;
    if (!m_bFresh && Refractory().m_bStepOnAccept) m_fAmpNow += Refractory().m_fAmpStep;
    m_bFresh = m_bNew = false;
    return PrepareSweep() && FireSweep(AcqState::recording);
}

bool CDTRefrAcqView::OnAccept() {
    if (!IsIdle() || m_sweeps.empty() || m_sweeps.back().isAccepted) {
        GetHost().Failure("There is no new sweep to accept.");
        return false;
    }
    m_sweeps.back().isAccepted = true;
    m_sweeps.back().colour = m_nSpikeColour;
    m_fAmpNow = Refractory().m_fTrialAmp0;
    if (Refractory().m_bStepOnAccept) m_fDelayNow += Refractory().m_fDelayStep;
    m_bFresh = true;
    return true;
}

void CDTRefrAcqView::OnClear() {
    std::erase_if(m_sweeps, [](const Sweep& one) { return !one.isAccepted; });
}

void CDTRefrAcqView::OnDeleteAll() {
    m_sweeps.clear();
    m_thresholds.clear();
    m_bFresh = m_bNew = true;
}

// --- saving ---

bool CDTRefrAcqView::OnSave() {
    if (AcceptedCount() == 0) {
        Fail("No sweep was accepted, so that there is nothing to save.");
        return false;
    }
    if (m_sweepChannels != ActiveChannels() || m_dSweepInterval != m_settings.m_dSampleInterval) {
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
    FillDocument(doc);
    try {
        if (!doc.WriteAcqFileStart(m_temporaryFolder)) {
            Fail(noSaveFileText);
            return false;
        }
        WriteSweeps(doc, path);
    } catch (const FileError& error) {
        Fail(fmt::format("{}\n{}", noSaveFileText, error.what()));
        try {
            doc.DiscardRecording();
        } catch (const FileError& left) {
            GetHost().Log(std::string(left.what()) + "\n");
        }
        return false;
    }
    if (m_pObserver) m_pObserver->OnSaved(path);
    return true;
}

// Codes of four bytes count from the low end.
void CDTRefrAcqView::WriteSweeps(CAcqDoc& doc, const std::filesystem::path& path) {
    const size_t width = Format().bytesPerSample;
    const uint32_t half = Format().encoding == 1 && width == 2 ? 1u << (Format().bits - 1) : 0u;
    const uint32_t mask = width == 2 ? (1u << Format().bits) - 1u : ~0u;
    std::optional<int64_t> first;
    for (const Sweep& sweep : m_sweeps) {
        if (!sweep.isAccepted) continue;
        if (!first) doc.SetStartTime(*(first = sweep.time));
        const auto at = static_cast<int32_t>(doc.StoredScans());
        CEventKM mark = EpisodeMark(at, sweep.time - *first);
        mark.eventValue = sweep.delta;
        doc.eventChannels[0].AppendLoaded(std::move(mark));
        doc.InsertMarker({doc.TimeOf(at), fmt::format("{:.6g} ms, {:.6g} V", sweep.delay, sweep.amplitude)});
        std::vector<uint32_t> codes(sweep.samples.size() / width, 0);
        for (size_t i = 0; i < codes.size(); ++i) {
            std::memcpy(&codes[i], sweep.samples.data() + i * width, width);
            codes[i] = (codes[i] ^ half) & mask;
        }
        doc.StoreScans(std::as_bytes(std::span(codes)));
    }
    doc.TakeStoredScans();
    doc.FinishRecording(path);
}

}  // namespace kymora
