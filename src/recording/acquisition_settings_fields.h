#pragma once
// The parts of acquisition settings with their keys, texts and limits. What is written as JSON or as text,
// what --set takes, and what a file may hold come from here.

#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/field.h"
#include "recording/acquisition_settings.h"
#include "results/json_writer.h"

namespace kymora {

// One value. Its key is `name` behind those of its groups ("dac1.pulse1.delay").
struct SettingItem {
    using Value = std::variant<bool*, int32_t*, uint32_t*, float*, double*, std::string*>;
    std::string_view name;
    std::string_view label;
    std::string_view unit;
    Value value;
    // Inclusive; every number is finite.
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
    std::span<const char* const> choices{};  // words for 0, 1, ...
    bool isColour = false;
    bool notZero = false;

    bool IsText() const;
    double Number() const;  // 0 of a text
    // A number, flag or choice that may be used.
    bool IsWithin() const;
};

class SettingVisitor {
  public:
    virtual ~SettingVisitor() = default;
    virtual void Take(const SettingItem& item) = 0;
    // A group of values or groups begins and ends. Groups of one kind that follow each other ("channel1",
    // "channel2") have the same values.
    virtual void Enter(const std::string&) {}
    virtual void Leave() {}
};

// Knows the key of each item.
class KeyVisitor : public SettingVisitor {
  public:
    void Enter(const std::string& group) override {
        starts_.push_back(prefix_.size());
        prefix_ += group + ".";
    }
    void Leave() override {
        prefix_.resize(starts_.back());
        starts_.pop_back();
    }

  protected:
    std::string KeyOf(const SettingItem& item) const { return prefix_ + std::string(item.name); }
    // Without the text of each key, which would take long for many.
    bool IsCalled(const SettingItem& item, std::string_view key) const {
        return key.size() == prefix_.size() + item.name.size() && key.starts_with(prefix_) &&
               key.ends_with(item.name);
    }

  private:
    std::string prefix_;
    std::vector<size_t> starts_;
};

// Hands over all that a configuration of the type holds, in order. A visitor may change the values.
void VisitSettings(AcquisitionSettings& settings, SettingVisitor& visitor);
// The same of one pulse; the unit of its times is that of the settings.
void VisitPulse(AcquisitionSettings& settings, COutputPulse& pulse, SettingVisitor& visitor);

// The item as a field with its value, which knows how a text becomes a value and how a fault is told. It is
// called by the item's name, and loads and stores the value as long as that is there.
Field SettingField(const SettingItem& item);

// Sets one from a text: numbers, choices by number or word, flags 0, 1, true or false, colours "#rrggbb".
// Answers why the text may not be used, with nothing changed; empty when it was. Nothing where the settings
// have no such key.
std::optional<std::string> SetSetting(AcquisitionSettings& settings, std::string_view key,
                                      std::string_view text);
std::vector<std::string> SettingKeys(const AcquisitionSettings& settings);

// Why settings may not be used: the first value that is outside its limits. Empty when they may.
std::string SettingsFault(const AcquisitionSettings& settings);

// The members of an object that is open: the type, the notes, and all values under their keys, each group as
// an object.
void WriteSettings(JsonWriter& json, const AcquisitionSettings& settings);
// The same for reading.
std::string SettingsText(const AcquisitionSettings& settings);

}  // namespace kymora
