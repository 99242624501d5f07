#pragma once
// The application object of the desktop: it owns what is global and keeps the options between sessions.

#include "app/desktop_host.h"
#include "host/disk_file_system.h"
#include "host/session.h"

namespace kymora {

class CKymora32App {
  public:
    CKymora32App();

    Session& GetSession() { return session_; }
    DesktopHost& GetHost() { return host_; }

    void ReadOptions();
    void WriteOptions() const;

  private:
    DesktopHost host_;
    DiskFileSystem files_;
    Session session_;
};

// Shows the main frame, opens the files that the command line names, and answers the program's exit code.
int RunDesktop(int argc, char** argv);

}  // namespace kymora
