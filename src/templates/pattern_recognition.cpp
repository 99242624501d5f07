#include "templates/pattern_recognition.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/file_identity.h"
#include "document/trace_stretches.h"
#include "document/undo.h"
#include "host/user_numbers.h"
#include "templates/diagnostic_traces.h"

namespace kymora {

namespace {

constexpr uint32_t patternVersion = 2;
// The file, the title and the greatest number of traces.
constexpr const char* tooManyDiagnosticTracesText = "{}\r\n\t{}: You cannot have more than {} data channels, "
                                                    "cancel \"Add error signal/template as trace\".\r\n";
constexpr int mostTracesBefore = 127;
// The file and the title.
constexpr const char* fewBinsText =
    "{}\r\n\t{}: Template contains fewer than 5 samples. Abandoned analysis.\r\n";
constexpr const char* nearBaselineText =
    "The allowed error of {:g} % is near the {:.3g} % that a stretch without any signal has with this "
    "template, or above it: much that is no match will be found. Lower the allowed error.";
constexpr const char* baselineKey = "WarnTemplateBaseline";
constexpr const char* openKey = "NoteTemplateOpenAtEnd";
constexpr const char* oneTraceText =
    "Diagnostic traces and the match-only file are of one trace. Do not analyse all traces.";
constexpr size_t mostOverlapLines = 1000;
constexpr double axisThresholds = 4.0;  // that the axis of the goodness-of-fit has room for

}  // namespace

// --- settings ---

void CPatternRecognition::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, patternVersion, ClassName());
    Exchange(archive, m_nFirstCursor);
    Exchange(archive, m_nSecondCursor);
    Exchange(archive, m_bAddErrorTrace);
    Exchange(archive, m_fAllowedError);
    Exchange(archive, m_nTemplateType);
    Exchange(archive, m_fGoodnessOfFit);
    Exchange(archive, m_bAddTemplateTrace);
    Exchange(archive, m_nAdaptiveAverage);
    Exchange(archive, m_fMinimumPeakToPeak);
    Exchange(archive, m_nSpareBins);
    Exchange(archive, m_nFrequencyMultiplier);
    Exchange(archive, m_bMatchFile);
    Exchange(archive, m_strMatchFileName);
    Exchange(archive, m_nTemplateSource);
    Exchange(archive, m_nTemplateTrace);
    Exchange(archive, m_dTemplateStart);
    Exchange(archive, m_dTemplateEnd);
    Exchange(archive, m_nRetrieveChannel);
    Exchange(archive, m_bAllTraces);
    Exchange(archive, m_strOrigin);
    m_template.Exchange(archive);
    if (version > 1)
        Exchange(archive, m_template.sampleInterval);
    else
        m_template.sampleInterval =
            m_template.length > 1 ? (m_template.endMs - m_template.startMs) / (m_template.length - 1) : 0.0;
    if (version > 1) ExchangeChosen(archive);
    if (archive.IsStoring()) return;
    m_isTemplateTraceChosen = true;
    m_capturedIn.clear();
}

// As one text, the keys apart by blanks.
void CPatternRecognition::ExchangeChosen(CArchive& archive) {
    std::string keys;
    for (const std::string& key : m_chosen) keys += key + ' ';
    Exchange(archive, keys);
    if (archive.IsStoring()) return;
    m_chosen.clear();
    for (size_t at = 0, end; (end = keys.find(' ', at)) != std::string::npos; at = end + 1)
        m_chosen.insert(keys.substr(at, end - at));
}

void CPatternRecognition::SettingsWereChosen() {
    CEventWndBaseDlg::SettingsWereChosen();
    if (m_nTemplateSource == captured && m_template.IsDefined()) m_nTemplateSource = inSettings;
}

std::string CPatternRecognition::Units() const {
    const CDataDoc* doc = Document();
    return doc && m_nTrace < doc->traceCount ? doc->traces[static_cast<size_t>(m_nTrace)].traceUnits
                                             : std::string();
}

std::vector<int> CPatternRecognition::Traces() const {
    if (!m_bAllTraces) return {m_nTrace};
    std::vector<int> traces(static_cast<size_t>(Document()->traceCount));
    for (size_t i = 0; i < traces.size(); ++i) traces[i] = static_cast<int>(i);
    return traces;
}

std::string CPatternRecognition::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (!IsRaise(m_nFrequencyMultiplier)) return raiseFaultText;
    if (m_bAllTraces && (AddsTraces() || m_bMatchFile)) return oneTraceText;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    if (m_nTemplateSource == captured && m_nTemplateTrace >= doc->traceCount) return noSuchTraceText;
    const int channels = m_bAllTraces ? doc->traceCount : 1;
    if (m_nDestination + channels > maxEventChannels) return noSuchChannelText;
    for (int i = 0; i < channels; ++i)
        if (doc->eventChannels[static_cast<size_t>(m_nDestination + i)].channelLocked)
            return lockedChannelText;
    return {};
}

// --- what it follows ---

void CPatternRecognition::CheckChangeDoc(CDataDoc* doc) {
    const bool isOwn = m_ownResult && doc && doc->traceCount == m_ownResult->traces &&
                       SamePath(doc->filePath, m_ownResult->path);
    if (doc != Document() && !isOwn && !(m_ownResult && !doc)) {
        ForgetFound();
        m_kept.reset();
        // The same times of another recording hold another wave.
        const bool isElsewhere =
            doc && (m_capturedIn.empty() ? !m_template.IsFrom(*doc) : !SamePath(doc->filePath, m_capturedIn));
        if (isElsewhere && m_nTemplateSource == captured && m_template.IsDefined())
            m_nTemplateSource = inSettings;
    }
    if (doc) m_ownResult.reset();
    CEventWndBaseDlg::CheckChangeDoc(doc);
    if (doc && IsAttended())
        m_nTemplateTrace = std::clamp(m_nTemplateTrace, 0, std::max(0, doc->traceCount - 1));
}

void CPatternRecognition::OnUpdate(UpdateHint hint) {
    if (hint == UpdateHint::samples) m_kept.reset();
}

void CPatternRecognition::OnParentTraceChanged() {
    if (m_isTemplateTraceChosen) return;
    m_nTemplateTrace = m_nTrace;
    if (m_nTemplateSource == captured && m_template.IsDefined()) TakeAsChosen();
}

// --- the template ---

TemplateWave CPatternRecognition::WaveOf(Source source) {
    CDataDoc& doc = *Document();
    const auto& channels = doc.eventChannels;
    switch (source) {
    case captured:
        if (m_dTemplateStart == 0.0 && m_dTemplateEnd == 0.0) throw TemplateFault(noTemplateText);
        return CaptureTemplate(doc, SpanBetween(doc, m_nTemplateTrace, m_dTemplateStart, m_dTemplateEnd),
                               m_nFrequencyMultiplier, m_nSpareBins);
    case retrieved: {
        const CEventChan& channel = channels[static_cast<size_t>(m_nRetrieveChannel)];
        if (!HoldsTemplate(channel)) throw TemplateFault(foreignChannelText);
        return StoredTemplate(doc, channel);
    }
    case average: {
        const CEventChan& channel = channels[static_cast<size_t>(m_nDestination)];
        if (!HoldsTemplate(channel) || channel.GetNumEvents() == 0) throw TemplateFault(noAverageText);
        const int trace =
            channel.parentTrace >= 0 && channel.parentTrace < doc.traceCount ? channel.parentTrace : m_nTrace;
        return AverageOfEvents(doc, trace, channel, StoredTemplate(doc, channel));
    }
    case inSettings:
        break;
    }
    return m_template;
}

void CPatternRecognition::Capture() {
    m_template = WaveOf(captured);
    m_capturedIn = Document()->filePath;
    m_strOrigin =
        fmt::format("Template of {} bins, captured from trace {},  from time = {:f} to {:f}\r\n",
                    m_template.values.size(), m_template.trace + 1, m_template.startMs, m_template.endMs);
}

void CPatternRecognition::Retrieve(int channel) {
    m_nRetrieveChannel = channel;
    m_template = WaveOf(retrieved);
    TakeStoredSettings(Document()->eventChannels[static_cast<size_t>(channel)]);
    m_strOrigin = fmt::format("Template retrieved from event chan {}\r\n", ChannelName(channel));
}

void CPatternRecognition::TakeAverage() {
    m_template = WaveOf(average);
    m_nFrequencyMultiplier = m_template.multiplier;
    m_nSpareBins = m_template.spareBins;
    m_strOrigin =
        fmt::format("Template derived from average in event chan {}\r\n", ChannelName(m_nDestination));
}

void CPatternRecognition::TakeStoredSettings(const CEventChan& channel) {
    const DetectionParameters& kept = channel.detection;
    const auto take = [&](const char* key, auto& member, auto value) {
        if (!m_chosen.contains(key)) member = static_cast<std::remove_reference_t<decltype(member)>>(value);
    };
    take("templateType", m_nTemplateType, channel.detectionMethod - methodFixedTemplate);
    // What is kept is the threshold of the channel's own type, whichever is wanted now.
    channel.detectionMethod == methodScaledTemplate
        ? take("goodnessOfFit", m_fGoodnessOfFit, kept.templateThreshold)
        : take("allowedError", m_fAllowedError, kept.templateThreshold);
    if (kept.templateAlign >= 1) take("adaptiveAverage", m_nAdaptiveAverage, kept.templateAlign);
    take("minimumPeakToPeak", m_fMinimumPeakToPeak, std::max(0.0f, kept.templateExtra));
    m_nFrequencyMultiplier = kept.templateStart;
    m_nSpareBins = kept.templateEnd;
}

// --- the run ---

TemplateSearch CPatternRecognition::SearchFor(const TemplateWave& wave) const {
    return {wave.values, wave.multiplier, wave.length, Type(), Threshold(), m_nAdaptiveAverage};
}

bool CPatternRecognition::IsNearBaseline(float flat) const {
    constexpr float nearShare = 0.9f;
    return !IsScaled() && m_fAllowedError >= nearShare * flat;
}

bool CPatternRecognition::WouldStumble() const {
    return m_nTemplateSource == inSettings && !m_template.IsDefined();
}

std::unique_ptr<OperationJob> CPatternRecognition::MakeJob() {
    CDataDoc& doc = *Document();
    auto job = std::make_unique<PatternJob>();
    if (!TakeRegion(*job)) return nullptr;
    const std::string file = doc.filePath.string();
    if (AddsTraces() && doc.traceCount >= mostTracesBefore)
        throw JobRefused(fmt::format(tooManyDiagnosticTracesText, file, Title(), mostTracesBefore));
    TemplateWave wave;
    try {
        if (IsLookingAhead() || m_nTemplateSource == inSettings) {
            wave = WaveOf(static_cast<Source>(m_nTemplateSource));
        } else {
            if (m_nTemplateSource == captured) Capture();
            if (m_nTemplateSource == retrieved) Retrieve(m_nRetrieveChannel);
            if (m_nTemplateSource == average) TakeAverage();
            wave = m_template;
        }
    } catch (const TemplateFault& fault) {
        throw JobRefused(fault.what());
    }
    if (const std::string fault = WaveFault(wave); !fault.empty()) throw JobRefused(fault);
    if (wave.values.size() < static_cast<size_t>(fewestTemplateSamples))
        throw JobRefused(fmt::format(fewBinsText, file, Title()));
    const float flat = TemplateError(wave.values).OfFlatWindow();
    if (!IsLookingAhead() && IsNearBaseline(flat)) {
        const std::string text = fmt::format(nearBaselineText, m_fAllowedError, flat);
        IsAttended() ? void(GetHost().Notice(baselineKey, Title(), text)) : Tell(text);
    }
    if (const std::string warning = wave.IntervalWarning(doc); !IsLookingAhead() && !warning.empty())
        Tell(warning);
    job->what = SearchFor(wave);
    job->spareBins = wave.spareBins;
    job->minimumPeakToPeak = m_fMinimumPeakToPeak;
    job->method = methodFixedTemplate + m_nTemplateType;
    job->keepsMeasures = IsAttended();
    for (const int trace : Traces()) {
        AddTarget(*job, m_nDestination + (m_bAllTraces ? trace : 0), trace,
                  m_bAllTraces ? fmt::format("template tr {}", trace + 1) : m_strDescription);
        job->stretches.push_back(UnbrokenStretches(doc, trace));
        job->ownStart.push_back(wave.IsOf(doc, trace) ? wave.start : TemplateWave::nowhere);
    }
    if (MayUseKept(*job)) job->kept = m_kept->measures;
    return job;
}

// A threshold is all that may be another one.
bool CPatternRecognition::MayUseKept(const PatternJob& job) const {
    if (!m_kept || Type() == TemplateType::adaptive || job.found.size() > 1) return false;
    const TemplateSearch& search = m_kept->search;
    return m_kept->trace == job.found[0].parentTrace && search.values == job.what.values &&
           search.multiplier == job.what.multiplier && search.length == job.what.length &&
           search.type == job.what.type && job.region.first >= m_kept->region.first &&
           job.region.end <= m_kept->region.end;
}

bool CPatternRecognition::Write(OperationJob& job, UndoScope& undo) {
    auto& done = static_cast<PatternJob&>(job);
    // The events go to the channel.
    EventJob::Found first{done.found[0].channel, done.found[0].parentTrace, {}, {}};
    if (m_bMatchFile) first.events = done.found[0].events;
    if (!CEventWndBaseDlg::Write(job, undo)) return false;
    if (const std::string open = OpenText(); !open.empty())
        IsAttended() ? void(GetHost().Notice(openKey, Title(), open + ".")) : Tell(open + ".");
    if (!m_bMatchFile) return true;
    if (first.events.empty()) {
        Tell("There are no matches for a match-only file.");
        return true;
    }
    const std::filesystem::path path = MatchFilePath();
    std::string report;
    AppendReport(report, done);
    WriteMatches(*Document(), first, report, path);
    const std::string where = fmt::format("The matches are in {}.", path.string());
    IsAttended() ? GetHost().Inform(where) : Tell(where);
    return true;
}

std::filesystem::path CPatternRecognition::MatchFilePath() const {
    if (!m_strMatchFileName.empty()) return m_strMatchFileName;
    const std::filesystem::path& source = Document()->filePath;
    FileSystem& files = Document()->GetSession().files;
    std::filesystem::path path;
    for (int n = 1; n == 1 || files.Stamp(path); ++n) {
        path = source;
        path.replace_filename(source.stem().string() + "_match" + (n > 1 ? "-" + std::to_string(n) : "") +
                              ".kymr-dat");
    }
    return path;
}

bool CPatternRecognition::FinishFound(CEventChan& chan, const EventJob& job, size_t which) {
    const auto& done = static_cast<const PatternJob&>(job);
    BeginRecord(chan);
    chan.templateData = m_template.values;
    DetectionParameters& kept = chan.detection;
    kept.templateStart = m_template.multiplier;
    kept.templateEnd = m_template.spareBins;
    kept.templateFirst = m_template.length;
    // In another recording that sample is any other.
    kept.templateLast = m_template.IsFrom(*Document()) ? m_template.start : TemplateWave::nowhere;
    kept.templateTrace = m_template.trace;
    kept.templateAlign = m_nAdaptiveAverage;
    kept.templateThreshold = Threshold();
    kept.templateExtra = m_fMinimumPeakToPeak;
    m_found.push_back({done.found[which].parentTrace, done.found[which].channel, done.matched[which]});
    return true;
}

void CPatternRecognition::TakeFound(const EventJob& job) {
    const auto& done = static_cast<const PatternJob&>(job);
    if (done.measured)
        m_kept = {done.measured, done.what, done.region, done.found[0].parentTrace, done.histogram};
    else if (!done.kept)
        m_kept.reset();
    const char* decided = IsScaled() ? "deleting prePatRes due to overlap\n" : "deleting previous event\n";
    size_t lines = 0;
    const auto log = [&](int64_t count, const char* what) {
        for (int64_t i = 0; i < count && lines < mostOverlapLines; ++i, ++lines)
            GetHost().Log(std::string("got overlapping events\n") + what);
    };
    for (const PatternFound& found : done.matched) {
        log(found.search.replaced, decided);
        log(found.search.dropped, "keeping previous event\n");
    }
}

// The same template, wherever it came from, and events alone.
std::vector<std::byte> CPatternRecognition::RerunSettings(const OperationJob& job) {
    const int32_t source = std::exchange(m_nTemplateSource, inSettings);
    const bool error = std::exchange(m_bAddErrorTrace, false);
    const bool fitted = std::exchange(m_bAddTemplateTrace, false);
    const bool matches = std::exchange(m_bMatchFile, false);
    std::vector<std::byte> record = CEventWndBaseDlg::RerunSettings(job);
    m_nTemplateSource = source;
    m_bAddErrorTrace = error;
    m_bAddTemplateTrace = fitted;
    m_bMatchFile = matches;
    return record;
}

// --- diagnostic traces ---

WrittenFile CPatternRecognition::WriteFile(Session& session, const std::filesystem::path& path, bool) {
    return WriteRecordingFile(*this, session, path,
                              [&](CArchive& archive, const std::filesystem::path& target) {
                                  const WrittenRecording written = WriteWithTraces(session, archive, target);
                                  if (written.isDone) m_ownResult->path = path;
                                  return written;
                              });
}

WrittenRecording CPatternRecognition::WriteWithTraces(Session& session, CArchive& archive,
                                                      const std::filesystem::path& target) {
    CDataDoc& doc = *Document();
    std::optional<GoodnessTrace> goodness;
    auto job = Prepare();
    if (!job) return {};
    auto& pattern = static_cast<PatternJob&>(*job);
    pattern.kept.reset();
    if (m_bAddErrorTrace) {
        goodness.emplace(doc, m_nTrace, pattern.what, target.parent_path());
        pattern.trace = [&](const MeasuredSteps& steps) { goodness->Take(steps); };
    }
    if (!Conclude(*job, [&](JobContext& here) { job->Compute(doc, here); })) return {};
    std::vector<AddedTrace> added;
    // The place of the template itself fits so well that an axis for all values would show nothing else.
    const double threshold =
        IsScaled() ? std::abs(double{m_fGoodnessOfFit}) : 100.0 / std::max(m_fAllowedError, 1e-3f);
    if (goodness)
        added.push_back({"goodness-of-fit", "", m_nTrace, -threshold, axisThresholds * threshold,
                         [&](int64_t stored, int64_t, std::span<float> to) { goodness->Read(stored, to); }});
    if (m_bAddTemplateTrace && IsScaled()) {
        const PatternFound& found = pattern.matched[0];
        added.push_back(
            {"template", Units(), m_nTrace, 0.0, 0.0, [&](int64_t, int64_t first, std::span<float> to) {
                 FillFitted(found.search.matches, found.fits, pattern.what, first, to);
             }});
        session.host.Log(
            fmt::format("number of samples written to template trace = {}\n", doc.GetStoredCount(m_nTrace)));
    }
    // Its row of events may have made itself room.
    doc.GetDisplaySettingsFromView();
    try {
        m_ownResult = {{}, doc.traceCount + static_cast<int>(added.size())};
        return kymora::WriteWithTraces(archive, doc, added);
    } catch (...) {
        // Nothing was written, so that the events of this run go, too.
        doc.Undo().Undo();
        ForgetFound();
        throw;
    }
}

}  // namespace kymora
