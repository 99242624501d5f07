#pragma once
// What the outputs play, with its preview. One of three parts stands in the page, as its mode says.

#include "acquisition/stimulus_preview.h"
#include "protocol/acq_prop_page.h"
#include "recording/pulse_train.h"

namespace kymora {

inline constexpr const char* noPulseForSequenceText =
    "You must select the pulse for which you want to set the sequence.\nSet 'Edit pulse' to non-zero";
inline constexpr const char* clearSequencesText =
    "Are you sure you want to clear all sequences for all pulses for all channels?";
inline constexpr const char* noOpenFilesText =
    "There are no compatible files currently open in the main display.\nAbandoning.";
inline constexpr const char* noSourceChosenText = "No file selected as source for output.";

// The output that is being edited, from 0.
struct StimulusPlace {
    size_t output = 0;
};

// A train of pulses, which takes the place of all pulses of the output.
class cAcqPropPageStimSimple {
  public:
    cAcqPropPageStimSimple(ProtocolState& state, const StimulusPlace& place)
        : m_state(state), m_place(place) {}
    void Describe(SettingList& list);

  private:
    std::string WarningText() const;

    ProtocolState& m_state;
    const StimulusPlace& m_place;
    TrainEditor m_trains;
};

// Pulses one by one, and their sequences.
class cAcqPropPageStimAdv {
  public:
    cAcqPropPageStimAdv(ProtocolState& state, const StimulusPlace& place) : m_state(state), m_place(place) {}
    void Describe(SettingList& list);

  private:
    std::vector<COutputPulse>& Pulses() const { return m_state.settings.dac[m_place.output].pulses; }
    COutputPulse& Edited();
    void Add();
    void Tell(const std::string& fault) const;

    ProtocolState& m_state;
    const StimulusPlace& m_place;
    uint32_t m_nEdited = 0;  // from 1; 0: a new one
    COutputPulse m_new;
};

// A trace of a recording.
class cAcqPropPageStimWav {
  public:
    explicit cAcqPropPageStimWav(ProtocolState& state) : m_state(state) {}
    void Describe(SettingList& list);

  private:
    ProtocolState& m_state;
};

class CAcqPropPageStim : public AcqPropPage {
  public:
    explicit CAcqPropPageStim(ProtocolState& state);
    const char* Title() const override { return "&Stimulus"; }
    bool IsThere() const override { return AcqPropPage::IsThere() && m_state.board.outputChannels > 0; }
    void Describe(ParamList& list) override;
    std::optional<Graph> GetGraph() override { return Preview().GetGraph(); }

  private:
    // Worked out once for what is set.
    const StimulusPreview& Preview();
    bool IsInUse() const;
    void DescribeOutputs(SettingList& list);
    void DescribeOutput(SettingList& list);
    void DescribePreview(SettingList& list);
    void DescribeSequence(SettingList& list);
    std::string SizeText();
    std::string WarningText();

    struct Shown {
        AcquisitionSettings settings;
        PreviewSettings preview;
        uint64_t board = 0;
        StimulusPreview made;
    };
    std::optional<Shown> m_shown;
    StimulusPlace m_place;
    bool m_bFamily = false;
    cAcqPropPageStimSimple m_simple;
    cAcqPropPageStimAdv m_advanced;
    cAcqPropPageStimWav m_file;
};

// The sequence of a pulse: what it gains from one acquisition to the next.
class CDTOutputPulseSequencer {
  public:
    // Asks the user; false where nothing was changed.
    static bool Edit(Host& host, AcquisitionSettings& settings, COutputPulse& pulse);
};

// The choice of the recording that is played.
class CAcqOutputFile {
  public:
    // Among those that are open. False where none was chosen, which the user was told.
    static bool Choose(ProtocolState& state);
    // Any on the disk.
    static bool Browse(ProtocolState& state);
};

}  // namespace kymora
