#include "protocol/acq_prop_page.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kymora {

namespace {

// Takes the items of all but single pulses.
class ItemTaker : public KeyVisitor {
  public:
    explicit ItemTaker(std::map<std::string, SettingItem, std::less<>>& items) : m_items(items) {}
    // Numbers of pulses and channels are worked out, and no values that stay.
    void Take(const SettingItem& item) override {
        if (item.name != "pulseCount" && item.name != "channelCount") m_items.emplace(KeyOf(item), item);
    }

  private:
    std::map<std::string, SettingItem, std::less<>>& m_items;
};

}  // namespace

ParamList AcqPropPage::Params() {
    ParamList list;
    if (IsThere()) Describe(list);
    return list;
}

SettingList::SettingList(ParamList& list, AcquisitionSettings& settings) : m_list(list) {
    // Thousands of pulses would be gone through for nothing.
    std::array<std::vector<COutputPulse>, outputChannels> pulses;
    for (size_t i = 0; i < pulses.size(); ++i) std::swap(pulses[i], settings.dac[i].pulses);
    ItemTaker taker(m_items);
    VisitSettings(settings, taker);
    for (size_t i = 0; i < pulses.size(); ++i) std::swap(pulses[i], settings.dac[i].pulses);
}

void SettingList::Group(const std::string& name) {
    m_strGroup = name;
    m_list.Group(name);
}

Field& SettingList::Add(Field field) {
    field.group = m_strGroup;
    m_list.fields.push_back(std::move(field));
    return m_list.fields.back();
}

Field& SettingList::Add(const SettingItem& item, const std::string& key) {
    Field field = SettingField(item);
    field.key = key;
    field.label = std::string(item.label);
    return Add(std::move(field));
}

Field& SettingList::Add(const std::string& key) { return Add(m_items.at(key), key); }

void SettingList::AddSampling(AcquisitionSettings& settings) {
    Field& interval = Add("sampleInterval");
    interval.Tip("Time from one sample of a channel to the next").Linked({"frequency"});
    const double least = interval.least, greatest = interval.greatest;
    AddNumber(
        "frequency", "Frequency", [&settings] { return 1.0 / settings.m_dSampleInterval; },
        [&settings](double kHz) { settings.m_dSampleInterval = 1.0 / kHz; })
        .Tip("Samples of each channel")
        .Unit("kHz")
        .Limits(1.0 / greatest, 1.0 / least)
        .Linked({"sampleInterval"});
}

void SettingList::AddOfSource(SourceSettings& source, std::span<const SourceWords> words,
                              const std::function<void(Field&)>& more) {
    for (Field& bound : SourceFields(source)) {
        const auto shown = std::ranges::find(words, bound.key, &SourceWords::key);
        if (shown == words.end()) continue;
        bound.label = shown->label;
        Field& field = Add(bound).Unit(shown->unit).Tip(shown->tip);
        if (more) more(field);
    }
}

void SettingList::AddAxes(uint32_t channels) {
    for (uint32_t i = 1; i <= channels; ++i)
        for (const auto& [key, heading] : {std::pair("axisA", "Axis from"), std::pair("axisB", "Axis to")})
            Add("channel" + std::to_string(i) + "." + key)
                .Tip("The ends of the display's axis")
                .Cell(std::to_string(i), heading);
}

Field& SettingList::AddOwn(FieldKind kind, std::string key, std::string label) {
    Field field;
    field.kind = kind;
    field.key = std::move(key);
    field.label = std::move(label);
    return Add(std::move(field));
}

Field& SettingList::AddNumber(std::string key, std::string label, std::function<double()> get,
                              std::function<void(double)> set) {
    Field& field = AddOwn(FieldKind::number, std::move(key), std::move(label));
    field.load = [get = std::move(get)](Field& to) { to.number = get(); };
    field.store = [set = std::move(set)](const Field& from) { set(from.number); };
    field.load(field);
    return field;
}

Field& SettingList::AddInteger(std::string key, std::string label, std::function<double()> get,
                               std::function<void(double)> set) {
    return AddNumber(std::move(key), std::move(label), std::move(get), std::move(set))
        .With(&Field::kind, FieldKind::integer);
}

Field& SettingList::AddChoice(std::string key, std::string label, std::vector<std::string> choices,
                              std::function<int()> get, std::function<void(int)> set) {
    Field& field = AddOwn(FieldKind::choice, std::move(key), std::move(label));
    field.choices = std::move(choices);
    field.load = [get = std::move(get)](Field& to) { to.choice = get(); };
    field.store = [set = std::move(set)](const Field& from) { set(from.choice); };
    field.load(field);
    return field;
}

Field& SettingList::AddMode(const std::string& key, std::vector<std::string> sentences) {
    Field& field = Add(key).With(&Field::choices, sentences);
    AddNote(key + "Sentence", [item = m_items.at(key), sentences = std::move(sentences)] {
        const auto mode = static_cast<size_t>(item.Number());
        return mode < sentences.size() ? sentences[mode] : std::string();
    });
    return field;
}

Field& SettingList::AddNote(const std::string& key, std::function<std::string()> text) {
    const bool isSaid = !text().empty();
    return m_list.Note(key, {}, std::move(text)).EnabledIf([isSaid] { return isSaid; });
}

Field& SettingList::AddWarning(const std::string& key, std::function<std::string()> text) {
    return AddNote(key, [text = std::move(text)] {
        std::string warning = text();
        return warning.empty() ? warning : warningMark + warning;
    });
}

}  // namespace kymora
