#pragma once
// The table of requests. The session finds a request in it by the member that names it, and the reference is
// written from it.

#include <span>
#include <vector>

#include "remote/remote_json.h"
#include "remote/remote_target.h"
#include "remote/request_host.h"

namespace kymora {

// One request at work.
struct RemoteCall {
    const Json& request;
    const Json& value;  // of the member that names the request
    RemoteTarget& target;
    RequestHost& host;
    Json answer = Json::object();  // beside "ok" and "id"

    // Set by requests that end the connection, or whose answer waits until a view is painted.
    bool ends = false;
    bool waits = false;
    int document = -1;
    int timeoutMs = 0;
    bool coarse = false;

    // The recording that "document" names by its number or path; the active one without it. Throws when there
    // is none.
    int Document() const;
    CKymoraView& View() const { return *target.Views()[static_cast<size_t>(Document())]; }
    // The same for a value.
    int DocumentOf(const Json& value) const;
    // The answer of a request that went wrong: the answer that did not fit, what the program said about it,
    // or `otherwise`.
    [[noreturn]] void Fail(std::string_view otherwise) const;
    // Answers a file that was made: how many `bytes` it has, and they themselves as this member, in base64,
    // or in the request's `file`.
    void AnswerFile(const char* member, std::span<const std::byte> bytes);
};

struct RemoteMember {
    std::string_view name;
    std::string_view text;
};

struct RemoteRequest {
    std::string_view name;
    std::string_view value;  // what the member holds, for the reference
    std::string_view text;   // what it does and answers
    std::vector<RemoteMember> members;
    std::vector<std::string_view> examples;
    bool changes;  // cannot run while the person at the screen has a dialog open
    void (*run)(RemoteCall& call);
};

// Members that every request may have.
std::span<const RemoteMember> CommonMembers();

using RequestTable = std::vector<RemoteRequest>;
RequestTable DocumentRequests();
RequestTable CommandRequests();
RequestTable WindowRequests();
RequestTable EventRequests();
RequestTable OperationRequests();
RequestTable RecorderRequests();

std::span<const RemoteRequest> RemoteRequests();

// The state of the program, for the request of that name.
Json StateOf(RemoteTarget& target);

}  // namespace kymora
