#pragma once
// The text of an event. Most of the millions of events of a recording have none, so a text takes the room of
// a pointer until it is set.

#include <memory>
#include <string>
#include <string_view>

namespace kymora {

class EventLabel {
  public:
    EventLabel() = default;
    EventLabel(std::string_view text) { Set(text); }
    EventLabel(const char* text) { Set(text); }
    EventLabel(const std::string& text) { Set(text); }
    EventLabel(const EventLabel& other) { Set(other.View()); }
    EventLabel(EventLabel&&) noexcept = default;
    EventLabel& operator=(const EventLabel& other) {
        if (this != &other) Set(other.View());
        return *this;
    }
    EventLabel& operator=(EventLabel&&) noexcept = default;

    bool empty() const { return !text_; }
    void clear() { text_.reset(); }
    std::string_view View() const { return text_ ? std::string_view(*text_) : std::string_view(); }
    operator std::string_view() const { return View(); }
    friend bool operator==(const EventLabel& a, const EventLabel& b) { return a.View() == b.View(); }

  private:
    void Set(std::string_view text) {
        if (text.empty())
            text_.reset();
        else
            text_ = std::make_unique<std::string>(text);
    }

    std::unique_ptr<std::string> text_;  // null when empty, never an empty string
};

}  // namespace kymora
