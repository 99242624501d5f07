#include "protocol/acq_prop_page_stim.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/user_numbers.h"
#include "import/formats.h"

namespace kymora {

namespace {

enum StimulusMode : uint32_t { simpleMode, advancedMode, fileMode };
constexpr const char* resetTip = "Reset the sequence to starting conditions";
constexpr const char* pauseTip = "Pause the sequence counter so does not advance on acquisition";

}  // namespace

CAcqPropPageStim::CAcqPropPageStim(ProtocolState& state)
    : AcqPropPage(state), m_simple(state, m_place), m_advanced(state, m_place), m_file(state) {}

void CAcqPropPageStim::Describe(ParamList& params) {
    AcquisitionSettings& settings = m_state.settings;
    SettingList list(params, settings);
    const int outputs = std::min(m_state.board.outputChannels, static_cast<int>(settings.m_nDacInUse));
    m_place.output = std::min(m_place.output, static_cast<size_t>(std::max(outputs, 1)) - 1);
    DescribeOutputs(list);
    if (!IsInUse()) return;
    if (settings.m_nStimMode == fileMode) {
        m_file.Describe(list);
        list.AddWarning("stimulusWarning", [this] { return WarningText(); });
        return;
    }
    DescribeOutput(list);
    if (settings.m_nStimMode == simpleMode)
        m_simple.Describe(list);
    else
        m_advanced.Describe(list);
    DescribePreview(list);
    DescribeSequence(list);
}

bool CAcqPropPageStim::IsInUse() const {
    return m_state.settings.m_nDacInUse > 0 && m_state.settings.boardDacChannels > 0;
}

// Settings that were made with a board without outputs have no stimulus until one is wanted.
void CAcqPropPageStim::DescribeOutputs(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    list.Group("Outputs");
    std::vector<std::string> counts = {"none"};
    const int most =
        std::clamp(m_state.board.outputChannels, std::max(1, static_cast<int>(settings.m_nDacInUse)),
                   static_cast<int>(outputChannels));
    for (int i = 1; i <= most; ++i) counts.push_back(std::to_string(i));
    list.AddChoice(
            "dacInUse", "Outputs in use", std::move(counts),
            [this, &settings] { return IsInUse() ? static_cast<int>(settings.m_nDacInUse) : 0; },
            [&settings](int count) {
                settings.m_nDacInUse = static_cast<uint32_t>(count);
                if (count > 0 && settings.boardDacChannels == 0)
                    settings.boardDacChannels = static_cast<int32_t>(outputChannels);
            })
        .Buttons()
        .Tip("How many outputs play a stimulus while a recording runs");
    if (!IsInUse()) {
        list.AddWarning("stimulusWarning",
                        [this] { return m_state.settings.m_nStimMode == fileMode ? WarningText() : ""; });
        return;
    }
    list.Add("stimMode")
        .With(&Field::choices, {"Simple", "Advanced", "File"})
        .Buttons()
        .Tip("A train of pulses; pulses one by one; a trace of a recording");
    if (settings.m_nStimMode == fileMode) return;
    list.AddChoice(
            "timeInSeconds", "Times", {"Time values in msec", "Time values in sec"},
            [&settings] { return settings.m_bTimeInSeconds ? 1 : 0; },
            [&settings](int choice) { settings.m_bTimeInSeconds = choice == 1; })
        .Tip("The unit of all times of pulses. The numbers stay as they are.");
    Field& rate = list.Add("outputFreqKHz");
    rate.Tip("Samples that each output plays");
    if (m_state.board.rate)
        rate.Shows([this] {
            const double answered = Preview().RateKHz();
            const bool isSame = answered == m_state.settings.m_dOutputFreqKHz;
            return isSame ? std::string() : fmt::format("board: {:.9g}", answered);
        });
}

void CAcqPropPageStim::DescribeOutput(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    if (settings.m_nDacInUse > 1)
        list.AddChoice(
                "output", "Edit output", {"1", "2"}, [this] { return static_cast<int>(m_place.output); },
                [this](int choice) { m_place.output = static_cast<size_t>(choice); })
            .Buttons()
            .Tip("The output whose level and pulses stand below");
    const DacRange range = m_state.board.OutputRange();
    const std::string output = std::to_string(m_place.output + 1);
    Field& level = list.Add("dac" + output + ".dcLevel");
    level.key = "dcLevel";
    level.Limits(range.m_fDacLow, range.m_fDacHigh).Tip("Set the DC output for the channel");
}

void CAcqPropPageStim::DescribePreview(SettingList& list) {
    list.Group("Preview");
    list.Add("previewSpan").Tip("How much of the stimulus the preview shows");
    if (HasSequences(m_state.settings)) {
        Field family;
        family.key = "family";
        family.label = "Show all of the sequence";
        family.kind = FieldKind::flag;
        family.load = [this](Field& to) { to.flag = m_bFamily; };
        family.store = [this](const Field& from) { m_bFamily = from.flag; };
        family.load(family);
        list.Add(std::move(family)).Tip("The other acquisitions of the cycle stand behind the present one");
    }
    list.AddNote("outputSize", [this] { return SizeText(); });
    list.AddWarning("stimulusWarning", [this] { return WarningText(); });
}

void CAcqPropPageStim::DescribeSequence(SettingList& list) {
    if (!HasSequences(m_state.settings)) return;
    list.Group("Sequence");
    list.AddNote("sequenceIndex", [this] {
        return fmt::format("{} acquisitions done", GroupedDigits(m_state.sequenceIndex));
    });
    Field pause;
    pause.key = "pauseSequence";
    pause.label = "Pause";
    pause.kind = FieldKind::flag;
    pause.load = [this](Field& to) { to.flag = m_state.isSequencePaused; };
    pause.store = [this](const Field& from) {
        m_state.isSequencePaused = from.flag;
        if (m_state.pauseSequence) m_state.pauseSequence(from.flag);
    };
    pause.load(pause);
    list.Add(std::move(pause)).Tip(pauseTip);
    list.List()
        .Action("resetSequence", "Reset",
                [this] {
                    m_state.sequenceIndex = 0;
                    if (m_state.resetSequence) m_state.resetSequence();
                })
        .Tip(resetTip);
}

const StimulusPreview& CAcqPropPageStim::Preview() {
    const PreviewSettings shown{m_state.sequenceIndex, m_bFamily};
    if (!m_shown || m_shown->board != m_state.boardNumber || m_shown->preview != shown ||
        m_shown->settings != m_state.settings)
        m_shown = {m_state.settings, shown, m_state.boardNumber, {m_state.settings, m_state.board, shown}};
    return m_shown->made;
}

std::string CAcqPropPageStim::SizeText() {
    const StimulusPreview& preview = Preview();
    const double bytes = static_cast<double>(preview.Size().total) * 2.0;
    return fmt::format("{} samples an output, {} of memory", GroupedDigits(preview.Size().samplesPerChannel),
                       BytesText(bytes));
}

std::string CAcqPropPageStim::WarningText() {
    std::string text;
    for (const std::string& warning : Preview().Warnings()) text += (text.empty() ? "" : "\n") + warning;
    return text;
}

// --- a train ---

void cAcqPropPageStimSimple::Describe(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    PulseTrain& train = m_trains.Of(settings, m_place.output);
    const DacRange range = m_state.board.OutputRange();
    list.Group("Train of output " + std::to_string(m_place.output + 1));
    constexpr const char* tips[] = {"How many pulses the train has; 0: none",
                                    "Time from the start to the first pulse", "How long each pulse is",
                                    "Height of each pulse",
                                    "Time from the beginning of a pulse to that of the next"};
    size_t tip = 0;
    for (const SettingItem& item : TrainItems(train, settings.m_bTimeInSeconds)) {
        Field& field = list.Add(item, "train." + std::string(item.name)).Tip(tips[tip++]);
        if (item.name == "amplitude") field.Limits(range.m_fDacLow, range.m_fDacHigh);
        field.OnChange([this] { m_trains.Apply(m_state.settings, m_place.output); });
    }
    list.AddWarning("trainWarning", [this] { return WarningText(); });
}

std::string cAcqPropPageStimSimple::WarningText() const {
    if (TrainOf(m_state.settings.dac[m_place.output].pulses)) return {};
    return "This output has pulses that are no plain train: ramps, sequences or uneven intervals. A value "
           "that "
           "is changed here puts the train in their place.";
}

// --- one by one ---

COutputPulse& cAcqPropPageStimAdv::Edited() {
    return m_nEdited > 0 && m_nEdited <= Pulses().size() ? Pulses()[m_nEdited - 1] : m_new;
}

void cAcqPropPageStimAdv::Describe(SettingList& list) {
    class PulseFields : public SettingVisitor {
      public:
        PulseFields(SettingList& to, const DacRange& range) : m_to(to), m_range(range) {}
        void Take(const SettingItem& item) override {
            constexpr std::string_view record[] = {"delay", "onRamp", "offRamp", "plateau", "amplitude"};
            if (std::ranges::find(record, item.name) == std::end(record)) return;
            Field& field = m_to.Add(item, "pulse." + std::string(item.name));
            if (m_unit.empty()) m_unit = item.unit;
            if (item.name == "amplitude")
                field.Limits(m_range.m_fDacLow, m_range.m_fDacHigh);
            else
                field.Unit(m_unit);
        }

      private:
        SettingList& m_to;
        DacRange m_range;
        std::string m_unit;  // of all times
    };

    const size_t count = Pulses().size();
    m_nEdited = static_cast<uint32_t>(std::min<size_t>(m_nEdited, count));
    list.Group("Pulses of output " + std::to_string(m_place.output + 1));
    list.AddInteger(
            "editPulse", "Edit pulse", [this] { return m_nEdited; },
            [this](double id) { m_nEdited = static_cast<uint32_t>(id); })
        .Tip("Set the ID of the pulse to edit. Set to 0 for a new pulse")
        .Limits(0, static_cast<double>(count))
        .Spin()
        .Shows([this] { return "of " + GroupedDigits(static_cast<int64_t>(Pulses().size())); });
    PulseFields fields(list, m_state.board.OutputRange());
    VisitPulse(m_state.settings, Edited(), fields);
    ParamList& params = list.List();
    params.Action("addPulse", "Add", [this] { Add(); })
        .Tip("Add a new pulse with the current set parameters");
    params.Action("deletePulse", "Delete", [this] { Tell(DeletePulse(Pulses(), m_nEdited)); })
        .Tip("Delete the pulse identified by the pulse edit value");
    params.Action("deleteAllPulses", "Delete all", [this] { Tell(DeleteAllPulses(Pulses())); })
        .Tip("Delete all pulses from the selected channel");
    params
        .Action("sequence", "Sequence\u2026",
                [this] {
                    if (m_nEdited == 0) return Tell(noPulseForSequenceText);
                    CDTOutputPulseSequencer::Edit(m_state.session.host, m_state.settings, Edited());
                })
        .Tip("What the pulse gains from one acquisition to the next");
}

void cAcqPropPageStimAdv::Add() {
    if (Pulses().size() >= mostPulses)
        return Tell(fmt::format("An output has at most {} pulses.", mostPulses));
    const COutputPulse added = Edited();
    Pulses().push_back(added);
}

void cAcqPropPageStimAdv::Tell(const std::string& fault) const {
    if (!fault.empty()) m_state.session.host.Message(fault);
}

// --- sequences ---

bool CDTOutputPulseSequencer::Edit(Host& host, AcquisitionSettings& settings, COutputPulse& pulse) {
    class Steps : public SettingVisitor {
      public:
        explicit Steps(Form& form) : m_form(form) {}
        void Take(const SettingItem& item) override {
            if (m_unit.empty()) m_unit = item.unit;
            if (!item.name.starts_with("step") && !item.name.starts_with("seq")) return;
            Field field = SettingField(item);
            field.label = item.name == "stepDelay" ? "delay" : std::string(item.label);
            if (item.name.starts_with("step")) {
                field.label = "Step of " + field.label;
                field.Unit(item.name == "stepAmplitude" ? "V" : m_unit);
            }
            if (item.name == "seqCount")
                field.Limits(1, item.greatest).Unit("acquisitions").Tip("Acquisitions in a sequence cycle");
            if (item.name == "seqMode") field.With(&Field::choices, Words(sequenceModeTexts)).Buttons();
            m_form.fields.push_back(std::move(field));
        }

      private:
        Form& m_form;
        std::string m_unit;
    };

    Form form("Output pulse sequencer");
    COutputPulse edited = pulse;
    edited.m_nSeqCount = std::max(edited.m_nSeqCount, 1);
    Steps steps(form);
    VisitPulse(settings, edited, steps);
    bool isCleared = false;
    form.AddAction(
        "clearSequences", "Clear all sequences",
        [&](Form& shown) {
            if (!host.Confirm(clearSequencesText)) return;
            ClearSequences(settings);
            isCleared = true;
            for (Field& field : shown.fields)
                if (field.key.starts_with("step")) field.number = 0.0;
        },
        "Takes the steps away from all pulses of all outputs");
    if (!host.AskForm(form)) return isCleared;
    for (const Field& field : form.fields)
        if (field.store) field.store(field);
    pulse = edited;
    return true;
}

// --- a file ---

void cAcqPropPageStimWav::Describe(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    list.Group("File");
    list.Add("outputFile").Tip("The recording whose trace is played");
    ParamList& params = list.List();
    params.Action("chooseOutputFile", "Open files\u2026", [this] { CAcqOutputFile::Choose(m_state); })
        .Tip("Choose among the recordings that are open");
    params.Action("browseOutputFile", "Browse\u2026", [this] { CAcqOutputFile::Browse(m_state); })
        .Tip("Choose a recording on the disk");
    list.AddInteger(
            "outputSourceTrace", "First trace", [&settings] { return settings.m_nOutputSourceTrace + 1.0; },
            [&settings](double trace) { settings.m_nOutputSourceTrace = static_cast<uint32_t>(trace - 1.0); })
        .Limits(1, 128)
        .Tip("The trace that the first output plays; the second output plays the one behind it");
    Field section;
    section.key = "onlyVisible";
    section.label = "Only use data from visible section in source file view";
    section.kind = FieldKind::flag;
    section.load = [&settings](Field& to) { to.flag = settings.outputTraceSource != 0; };
    section.store = [&settings](const Field& from) { settings.outputTraceSource = from.flag ? 1 : 0; };
    section.load(section);
    list.Add(std::move(section));
}

bool CAcqOutputFile::Choose(ProtocolState& state) {
    Host& host = state.session.host;
    const auto files = state.openFiles ? state.openFiles() : std::vector<std::filesystem::path>();
    if (files.empty()) {
        host.Message(noOpenFilesText);
        return false;
    }
    std::vector<std::string> names;
    for (const auto& file : files) names.push_back(file.string());
    Form form("File to play");
    form.AddChoice("file", "File", names, 0, "The recordings that are open in the main display");
    if (!host.AskForm(form)) {
        host.Message(noSourceChosenText);
        return false;
    }
    state.settings.m_strOutputFile = names[static_cast<size_t>(form.Choice("file"))];
    return true;
}

bool CAcqOutputFile::Browse(ProtocolState& state) {
    const auto chosen = state.session.host.ChooseOpenFiles({"File to play", OpenFilter(), {}, {}});
    if (chosen.empty()) return false;
    state.settings.m_strOutputFile = chosen.front().string();
    return true;
}

}  // namespace kymora
