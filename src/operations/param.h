#pragma once
// The parameters of an operation as it describes them, once: fields, each bound to a member of the operation.
// The order in a configuration file is not taken from here: that is a file format, and each class writes it
// down in its Serialize.

#include "host/form.h"

namespace kymora {

inline constexpr float mostFloat = std::numeric_limits<float>::max();  // a limit that limits nothing

// A page of a window that has several, which are gone through in turn.
struct ParamPage {
    std::string title;
    // Why the next one may not be shown; empty, or answers empty, when it may.
    std::function<std::string()> fault;
};

// Each field has the value that its member had when it was added, and stores what it is set to.
class ParamList : public Form {
  public:
    ParamList() : Form({}) {}

    // What is added from here on stands on a page of its own.
    void Page(std::string title, std::function<std::string()> fault = {}) {
        pages_.push_back({std::move(title), std::move(fault)});
    }
    const std::vector<ParamPage>& Pages() const { return pages_; }
    // The parameters of one page.
    ParamList OnPage(int page) const;
    // Why the page may not be left for the next one: what its parameters say, then the page itself. Empty
    // when it may.
    std::string PageFault(int page) const;
    // Why the first of the enabled parameters that may not be used may not.
    std::string Fault() const;

    // What is added from here on stands under this heading.
    void Group(std::string name) { group_ = std::move(name); }

    Field& Number(std::string key, std::string label, double& value);
    Field& Number(std::string key, std::string label, float& value);
    Field& Integer(std::string key, std::string label, int32_t& value);
    Field& Flag(std::string key, std::string label, bool& value);
    Field& Choice(std::string key, std::string label, int32_t& value, std::vector<std::string> choices);
    Field& Text(std::string key, std::string label, std::string& value);
    Field& Trace(std::string key, std::string label, int32_t& value);
    Field& Channel(std::string key, std::string label, int32_t& value);
    Field& Channels(std::string key, std::string label, std::vector<int>& value);
    Field& Traces(std::string key, std::string label, std::vector<int>& value);
    Field& Colour(std::string key, std::string label, uint32_t& value);
    Field& Note(std::string key, std::string label, std::function<std::string()> text);
    Field& Action(std::string key, std::string label, std::function<void()> does);

    auto begin() { return fields.begin(); }
    auto end() { return fields.end(); }
    auto begin() const { return fields.begin(); }
    auto end() const { return fields.end(); }

  private:
    Field& Put(FieldKind kind, std::string key, std::string label);
    template <typename Value, typename Member>
    Field& Bind(Field& field, Value Field::*value, Member& member);

    std::vector<ParamPage> pages_;
    std::string group_;
};

}  // namespace kymora
