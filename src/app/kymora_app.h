#pragma once
// The application object of the desktop: it owns what is global and keeps the options between sessions.

#include "app/desktop_host.h"
#include "host/disk_file_system.h"
#include "host/session.h"
#include "remote/remote_host.h"
#include "summaries/summary_service.h"

namespace kymora {

class CMainFrame;

class CKymora32App {
  public:
    CKymora32App();
    ~CKymora32App();

    Session& GetSession() { return session_; }
    DesktopHost& GetHost() { return host_; }
    RemoteHost& GetRemoteHost() { return remoteHost_; }

    // The options and what the frame keeps, from the platform's store and back.
    void ReadOptions();
    void WriteOptions() const;
    void ReadFrameSettings(CMainFrame& frame);
    void WriteFrameSettings(CMainFrame& frame) const;

  private:
    DesktopHost host_;
    RemoteHost remoteHost_{host_};  // what the session knows as its host
    DiskFileSystem files_;
    Session session_;
    SummaryService summaries_;  // ends before the session that it is in
};

// Shows the main frame, opens the files that the command line names, and answers the program's exit code.
int RunDesktop(int argc, char** argv);

}  // namespace kymora
