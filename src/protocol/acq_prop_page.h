#pragma once
// The pages on which a recording session is set, without their windows: what each asks as parameters, and
// what it shows beside them. A new page is a class derived from AcqPropPage and a line in acq_prop_pages.cpp.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "acquisition/acquisition_sources.h"
#include "acquisition/board_facts.h"
#include "graphs/graph.h"
#include "host/session.h"
#include "operations/param.h"
#include "recording/acquisition_settings_fields.h"

namespace kymora {

// Stands before what will not go as it is set.
inline constexpr const char* warningMark = "\u26A0 ";

// What the pages of the refractory protocol show of it.
struct RefractoryReadings {
    float amplitude = 0.0f, delay = 0.0f;  // of the trial pulse, V and ms
    int sweepCount = 0, spikesHere = 0, spikesTotal = 0;
    float change = 0.0f;  // of the newest sweep
    size_t sweeps = 0, selected = 0;
    std::optional<float> reviewChange;
    std::string reviewFault, file;
    uint32_t spikeColour = 255;

    bool operator==(const RefractoryReadings&) const = default;
};
// What its user can have it do there.
struct RefractoryCommands {
    std::function<void()> load = [] {}, recalculate = [] {}, deleteSweep = [] {};
    std::function<void(size_t sweep)> select = [](size_t) {};
    std::function<void(uint32_t colour)> setSpikeColour = [](uint32_t) {};
};

// What all pages work on.
struct ProtocolState {
    explicit ProtocolState(Session& s) : session(s) {}

    Session& session;
    AcquisitionSettings settings;
    SourceSettings source;
    BoardFacts board = UnknownBoard();
    uint64_t boardNumber = 0;   // another one for each that was set
    int64_t sequenceIndex = 0;  // acquisitions done in the present sequence
    bool isSequencePaused = false;
    std::function<void()> resetSequence;      // the user wants it
    std::function<void(bool)> pauseSequence;  // likewise
    // The recordings that are open, from which an output can be played.
    std::function<std::vector<std::filesystem::path>()> openFiles;
    RefractoryReadings refractory;
    RefractoryCommands refractoryCommands;
};

class AcqPropPage {
  public:
    explicit AcqPropPage(ProtocolState& state) : m_state(state) {}
    virtual ~AcqPropPage() = default;

    // Of its tab, with the mark of its key.
    virtual const char* Title() const = 0;
    // What is not about the kind of recording, or the board, is not there; as it comes, all but general
    // recordings of boards.
    virtual bool IsThere() const { return m_state.settings.m_eRecordingType == RecordingType::board; }
    // Bound to the settings as they are.
    virtual void Describe(ParamList& list) = 0;
    // What stands beside the parameters; nothing where the page has no graph.
    virtual std::optional<Graph> GetGraph() { return {}; }

    ParamList Params();

  protected:
    ProtocolState& m_state;
};

// How a setting of a source, which has but a key, is shown.
struct SourceWords {
    const char *key, *label, *unit, *tip;
};

// Adds the settings of a session to a list by their keys; what they are called, their units and limits come
// from acquisition_settings_fields.h.
class SettingList {
  public:
    SettingList(ParamList& list, AcquisitionSettings& settings);

    // What is added from here on stands under this heading.
    void Group(const std::string& name);
    // Throws std::out_of_range for a key that there is not. Those of pulses are not there.
    Field& Add(const std::string& key);
    // Under another key and its own label.
    Field& Add(const SettingItem& item, const std::string& key);
    // A field of a page's own.
    Field& Add(Field field);
    Field& AddNumber(std::string key, std::string label, std::function<double()> get,
                     std::function<void(double)> set);
    Field& AddInteger(std::string key, std::string label, std::function<double()> get,
                      std::function<void(double)> set);
    Field& AddChoice(std::string key, std::string label, std::vector<std::string> choices,
                     std::function<int()> get, std::function<void(int)> set);
    // The interval, and the frequency that it is.
    void AddSampling(AcquisitionSettings& settings);
    // Settings of sources in the order in which they are there; `more` says what else a field is to be.
    void AddOfSource(SourceSettings& source, std::span<const SourceWords> words,
                     const std::function<void(Field&)>& more = {});
    // Those of the first channels, as a table.
    void AddAxes(uint32_t channels);
    // A mode as a choice of its sentences, with the one that is chosen below it: a narrow box cuts them.
    Field& AddMode(const std::string& key, std::vector<std::string> sentences);
    // Something to be read; without a word it takes no room.
    Field& AddNote(const std::string& key, std::function<std::string()> text);
    // The same of what will not go as it is set.
    Field& AddWarning(const std::string& key, std::function<std::string()> text);
    ParamList& List() { return m_list; }

  private:
    Field& AddOwn(FieldKind kind, std::string key, std::string label);

    ParamList& m_list;
    std::string m_strGroup;
    std::map<std::string, SettingItem, std::less<>> m_items;
};

// The words of a table of modes.
template <size_t n>
std::vector<std::string> Words(const char* const (&texts)[n]) {
    return {std::begin(texts), std::end(texts)};
}

// All pages, in their order.
std::vector<std::unique_ptr<AcqPropPage>> MakeAcqPropPages(ProtocolState& state);

}  // namespace kymora
