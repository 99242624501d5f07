#include "app/remote_control.h"

#include <cstdio>

#include "app/main_frame.h"
#include "widgets/text.h"

namespace kymora {

RemoteControl::RemoteControl(CMainFrame& frame, Session& session, RemoteHost& host)
    : frame_(frame),
      session_(session),
      host_(host),
      target_(frame, session),
      token_(MakeToken()),
      server_(target_, host, token_) {}

bool RemoteControl::Start(uint16_t port) {
    if (!server_.Listen(port)) {
        std::fprintf(stderr, "kymora: port %d cannot be used: %s\n", port,
                     server_.ErrorText().toUtf8().constData());
        return false;
    }
    std::printf("{\"port\": %d, \"token\": \"%s\"}\n", server_.Port(), token_.c_str());
    std::fflush(stdout);
    return true;
}

void RemoteControl::OpenFiles(const std::vector<std::filesystem::path>& paths) {
    const DialogGuard guard(host_);
    std::string said;
    for (const std::filesystem::path& path : paths) {
        const std::string words =
            RunUnattended(host_, session_, [&] { frame_.OpenEach({path}, OpenTalk::shows); });
        if (!words.empty()) said += (said.empty() ? "" : "\n") + path.filename().string() + ": " + words;
    }
    if (frame_.Children().size() > 1) frame_.OnWindowTile();
    if (said.empty()) return;
    std::fprintf(stderr, "kymora: %s\n", said.c_str());
    frame_.ShowNotice(ToQString(said));  // for the person at the screen
}

}  // namespace kymora
