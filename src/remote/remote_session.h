#pragma once
// One connection of the remote control, without its socket: it takes lines and gives lines. The first line
// must hold the token; each further one is a request, a JSON object, and gets one line as its answer.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "remote/remote_host.h"
#include "remote/remote_target.h"

namespace kymora {

inline constexpr size_t longestRequest = size_t{1} << 20;  // bytes of a line, without its end

// Compares in a time that depends on the length of `given` only.
bool IsToken(std::string_view given, std::string_view token);

// Runs something while nobody is asked: questions get the answer that changes nothing. Answers what was said.
std::string RunUnattended(RemoteHost& remote, Session& session, const std::function<void()>& run);

struct RemoteReply {
    std::string line;   // without its end; empty while the answer waits
    bool ends = false;  // the connection ends behind it
    // The answer is that of FinishWait, when the view of `document` (-1: the main window) has been painted,
    // or after the time.
    bool waits = false;
    int document = -1;
    int timeoutMs = 0;
    bool coarse = false;  // the coarse picture will do that a view shows while it reads
};

class RemoteSession {
  public:
    // All of them outlive the session.
    RemoteSession(RemoteTarget& target, RemoteHost& host, std::string token);

    // Whether the token was given.
    bool IsAdmitted() const { return admitted_; }
    RemoteReply Take(std::string_view line);
    // The answer of the request that waits.
    std::string FinishWait(bool painted);
    // What a sender is told whose line is too long.
    static RemoteReply TooLong();

  private:
    RemoteReply Admit(std::string_view line);

    RemoteTarget& target_;
    RemoteHost& host_;
    std::string token_;
    bool admitted_ = false;
    std::string waitingId_;  // of the request that waits, as JSON
};

}  // namespace kymora
