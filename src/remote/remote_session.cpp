#include "remote/remote_session.h"

#include <algorithm>

#include "archive/text_encoding.h"
#include "host/version.h"
#include "remote/remote_requests.h"

namespace kymora {
namespace {

constexpr size_t longestId = 1000;

Json Failure(const std::string& error) { return {{"ok", false}, {"error", error}}; }

RemoteReply End(const std::string& error) { return {ToLine(Failure(error)), true}; }

// Lends the word to the request's host.
class StandIn {
  public:
    StandIn(RemoteHost& host, Host& standIn) : host_(host) { host_.SetStandIn(&standIn); }
    ~StandIn() { host_.SetStandIn(nullptr); }
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

  private:
    RemoteHost& host_;
};

// Null for none. Only what is sure to be written back as it came is taken.
Json IdOf(const Json& request) {
    const Json* id = FindMember(request, "id");
    if (id == nullptr) return nullptr;
    const bool isShortText = id->is_string() && id->get_ref<const std::string&>().size() <= longestId;
    if (!id->is_number() && !isShortText)
        throw RemoteError("\"id\" must be a number or a text of at most " + std::to_string(longestId) +
                          " bytes.");
    return *id;
}

// The one request that the line names.
const RemoteRequest& FindRequest(const Json& request) {
    const RemoteRequest* found = nullptr;
    for (const RemoteRequest& known : RemoteRequests()) {
        if (FindMember(request, known.name) == nullptr) continue;
        if (found != nullptr)
            throw RemoteError("A line holds one request, not \"" + std::string(found->name) + "\" and \"" +
                              std::string(known.name) + "\".");
        found = &known;
    }
    if (found != nullptr) return *found;
    const std::string first = request.empty() ? std::string() : request.begin().key();
    throw RemoteError("This is no request: " + ToLine(ToDisplayText(first)) + ".");
}

void CheckRequest(const Json& json, const RemoteRequest& request) {
    const auto isIn = [](const auto& members, const std::string& key) {
        return std::any_of(members.begin(), members.end(),
                           [&](const RemoteMember& member) { return member.name == key; });
    };
    for (const auto& [key, value] : json.items())
        if (key != request.name && !isIn(CommonMembers(), key) && !isIn(request.members, key))
            throw RemoteError("The request \"" + std::string(request.name) + "\" has no member \"" +
                              ToDisplayText(key) + "\".");
}

void Run(RemoteCall& call, const RemoteRequest& request) {
    if (request.changes) {
        const std::string dialog = call.target.OpenDialog();
        if (!dialog.empty()) throw RemoteError("A dialog is open in the window: " + dialog + ".");
    }
    if (request.value == "true" && call.value != true)
        throw RemoteError("\"" + std::string(request.name) + "\" must be true.");
    request.run(call);
    if (!call.host.Fault().empty()) throw RemoteError(call.host.Fault());
}

}  // namespace

bool IsToken(std::string_view given, std::string_view token) {
    volatile size_t difference = given.size() ^ token.size();
    for (size_t i = 0; i < given.size(); ++i) {
        const char expected = token.empty() ? '\1' : token[i % token.size()];
        difference = difference | static_cast<size_t>(static_cast<unsigned char>(given[i] ^ expected));
    }
    return difference == 0 && !token.empty();
}

RemoteSession::RemoteSession(RemoteTarget& target, RemoteHost& host, std::string token)
    : target_(target), host_(host), token_(std::move(token)) {}

RemoteReply RemoteSession::TooLong() {
    return End("A line may have " + std::to_string(longestRequest) + " bytes.");
}

RemoteReply RemoteSession::Admit(std::string_view line) {
    const Json json = ParseRequest(line);
    const Json* token = FindMember(json, "token");
    if (token == nullptr || !token->is_string() || !IsToken(token->get_ref<const std::string&>(), token_))
        return End("The first line must be {\"token\": ...} with the token that the program printed.");
    admitted_ = true;
    return {ToLine({{"ok", true}, {"program", "Kymora"}, {"version", ProgramVersion()}})};
}

RemoteReply RemoteSession::Take(std::string_view line) {
    if (line.size() > longestRequest) return TooLong();
    if (!admitted_) return Admit(line);
    const Json request = ParseRequest(line);
    if (request.is_null()) return End("The line is no JSON object.");

    RemoteReply reply;
    Json id;
    RequestHost host(host_.Person(), target_.GetSession().files, request);
    Json answer;
    try {
        id = IdOf(request);
        const RemoteRequest& known = FindRequest(request);
        CheckRequest(request, known);
        const StandIn standIn(host_, host);
        RemoteCall call{request, *FindMember(request, known.name), target_, host};
        Run(call, known);
        reply = {{}, call.ends, call.waits, call.document, call.timeoutMs, call.coarse};
        answer = {{"ok", true}};
        answer.update(call.answer);
    } catch (const std::exception& error) {
        reply = {};
        answer = Failure(error.what());
    }
    if (reply.waits) {
        waitingId_ = ToLine(id);
        return reply;
    }
    host.Report(answer);
    if (!id.is_null()) answer["id"] = id;
    reply.line = ToLine(answer);
    return reply;
}

std::string RunUnattended(RemoteHost& remote, Session& session, const std::function<void()>& run) {
    const Json nothing = Json::object();
    RequestHost host(remote.Person(), session.files, nothing);
    const StandIn standIn(remote, host);
    run();
    return host.AllMessages();
}

std::string RemoteSession::FinishWait(bool painted) {
    Json answer = {{"ok", true}, {"painted", painted}};
    if (const Json id = Json::parse(waitingId_, nullptr, false); !id.is_null() && !id.is_discarded())
        answer["id"] = id;
    return ToLine(answer);
}

}  // namespace kymora
