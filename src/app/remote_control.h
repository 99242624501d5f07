#pragma once
// `kymora --remote PORT`: the server on the main window, and what it says to whoever started the program.

#include <filesystem>
#include <vector>

#include "app/remote_desktop.h"
#include "app/remote_server.h"

namespace kymora {

class CMainFrame;

class RemoteControl {
  public:
    // All of them outlive it.
    RemoteControl(CMainFrame& frame, Session& session, RemoteHost& host);

    // Listens and prints port and token on standard output; false, with the reason on standard error, when
    // the port cannot be had.
    bool Start(uint16_t port);
    // Opens the files of the command line without asking anybody; what there is to say goes to standard
    // error.
    void OpenFiles(const std::vector<std::filesystem::path>& paths);

  private:
    CMainFrame& frame_;
    Session& session_;
    RemoteHost& host_;
    DesktopRemote target_;
    std::string token_;
    RemoteServer server_;
};

}  // namespace kymora
