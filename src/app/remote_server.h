#pragma once
// The socket of the remote control: listens on the loopback address and carries lines between senders and
// their sessions. Requests of all senders run one after the other, in the thread of the windows.

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <memory>
#include <vector>

#include "app/remote_desktop.h"
#include "remote/line_buffer.h"
#include "remote/remote_session.h"

namespace kymora {

// 256 random bits of the system's generator, as 64 hexadecimal digits.
std::string MakeToken();

struct RemoteLimits {
    size_t connections = 4;
    int admissionMs = 10000;               // for the first line
    qint64 unsentBytes = qint64{4} << 20;  // above it, a sender's requests wait until it has read
};

class RemoteServer : public QObject {
  public:
    RemoteServer(DesktopRemote& target, RemoteHost& host, std::string token, RemoteLimits limits = {});
    ~RemoteServer() override;

    // Port 0 lets the system choose. False when it cannot be had.
    bool Listen(quint16 port);
    quint16 Port() const { return server_.serverPort(); }
    QString ErrorText() const { return server_.errorString(); }
    size_t ConnectionCount() const { return connections_.size(); }
    // Of answers that wait for their receivers.
    qint64 UnsentBytes() const;

  private:
    struct Connection {
        Connection(QTcpSocket* socket, RemoteSession session)
            : socket(socket), session(std::move(session)), lines(longestRequest) {}
        QTcpSocket* socket;  // lives as long as the connection does
        RemoteSession session;
        LineBuffer lines;
        bool waits = false;  // for a view to be painted
        bool gone = false;
        QObject context;  // what waits for this connection ends with it
    };

    void Accept();
    void LimitAdmission(Connection& connection);
    void Receive(Connection& connection);
    // Runs what can be run: one request of each sender in turn.
    void Pump();
    void PumpSoon();
    bool RunNext(Connection& connection);
    void Send(Connection& connection, const RemoteReply& reply);
    void Wait(Connection& connection, const RemoteReply& reply);
    void End(Connection& connection);
    void DropGone();

    DesktopRemote& target_;
    RemoteHost& host_;
    std::string token_;
    RemoteLimits limits_;
    QTcpServer server_;
    QTimer pump_;
    bool running_ = false;
    std::vector<std::unique_ptr<Connection>> connections_;
};

}  // namespace kymora
