#include "app/remote_server.h"

#include <QRandomGenerator>
#include <algorithm>
#include <array>

namespace kymora {

namespace {

constexpr qint64 readAtOnce = 65536;
constexpr int lingerMs = 5000;
constexpr int busyMs = 20;  // until it is looked again whether a long operation has ended

void WriteLine(QTcpSocket& socket, const std::string& line) {
    socket.write(line.data(), static_cast<qint64>(line.size()));
    socket.write("\n", 1);
}

}  // namespace

std::string MakeToken() {
    std::array<quint32, 8> words{};
    QRandomGenerator::system()->fillRange(words.data(), static_cast<qsizetype>(words.size()));
    std::string token;
    for (const quint32 word : words) token += QString("%1").arg(word, 8, 16, QChar('0')).toStdString();
    return token;
}

RemoteServer::RemoteServer(DesktopRemote& target, RemoteHost& host, std::string token, RemoteLimits limits)
    : target_(target), host_(host), token_(std::move(token)), limits_(limits) {
    pump_.setSingleShot(true);
    connect(&pump_, &QTimer::timeout, this, [this] { Pump(); });
    connect(&server_, &QTcpServer::newConnection, this, [this] { Accept(); });
}

RemoteServer::~RemoteServer() {
    server_.close();
    for (const auto& connection : connections_) {
        connection->socket->disconnect(this);
        // The last answers are on their way out.
        if (connection->socket->bytesToWrite() > 0) connection->socket->waitForBytesWritten(1000);
        delete connection->socket;
    }
}

bool RemoteServer::Listen(quint16 port) { return server_.listen(QHostAddress::LocalHost, port); }

qint64 RemoteServer::UnsentBytes() const {
    qint64 unsent = 0;
    for (const auto& connection : connections_) unsent += connection->socket->bytesToWrite();
    return unsent;
}

void RemoteServer::Accept() {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
        if (connections_.size() >= limits_.connections) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            WriteLine(*socket, R"({"ok":false,"error":"There are too many connections."})");
            socket->disconnectFromHost();
            continue;
        }
        socket->setReadBufferSize(readAtOnce);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connections_.push_back(std::make_unique<Connection>(socket, RemoteSession(target_, host_, token_)));
        Connection* connection = connections_.back().get();
        connect(socket, &QTcpSocket::readyRead, this, [this, connection] { Receive(*connection); });
        connect(socket, &QTcpSocket::bytesWritten, this, [this] { PumpSoon(); });
        connect(socket, &QTcpSocket::disconnected, this, [this, connection] {
            connection->gone = true;
            PumpSoon();
        });
        LimitAdmission(*connection);
        Receive(*connection);
    }
}

// A sender that has sent its line does not answer for a program that is at work.
void RemoteServer::LimitAdmission(Connection& connection) {
    QTimer::singleShot(limits_.admissionMs, &connection.context, [this, &connection] {
        if (connection.session.IsAdmitted()) return;
        if (host_.IsWorking() || connection.lines.HasLine() || connection.socket->bytesAvailable() > 0)
            LimitAdmission(connection);
        else
            End(connection);
    });
}

// No more is taken than makes one line: what a sender has ready beyond that waits in the system.
void RemoteServer::Receive(Connection& connection) {
    while (!connection.lines.HasLine() && !connection.lines.IsTooLong() &&
           connection.socket->bytesAvailable() > 0) {
        const QByteArray bytes = connection.socket->read(readAtOnce);
        connection.lines.Append({bytes.constData(), static_cast<size_t>(bytes.size())});
    }
    Pump();
}

void RemoteServer::PumpSoon() {
    if (!pump_.isActive()) pump_.start(0);
}

void RemoteServer::Pump() {
    // A request may run an events loop, in which more lines arrive.
    if (running_) return;
    if (host_.IsWorking()) return pump_.start(busyMs);
    running_ = true;
    bool more = false;
    for (size_t i = 0; i < connections_.size() && !host_.IsWorking(); ++i)
        if (RunNext(*connections_[i])) more = true;
    running_ = false;
    DropGone();
    // The windows have their turn between the requests.
    if (more) PumpSoon();
}

bool RemoteServer::RunNext(Connection& connection) {
    if (connection.gone || connection.waits) return false;
    if (connection.socket->bytesToWrite() > limits_.unsentBytes) return false;
    if (connection.lines.IsTooLong()) {
        Send(connection, RemoteSession::TooLong());
        return false;
    }
    const std::optional<std::string> line = connection.lines.Next();
    if (!line) return false;
    {
        const DialogGuard guard(host_);
        Send(connection, connection.session.Take(*line));
    }
    if (connection.gone) return false;
    if (!connection.lines.HasLine()) Receive(connection);
    return connection.lines.HasLine() || connection.lines.IsTooLong();
}

void RemoteServer::Send(Connection& connection, const RemoteReply& reply) {
    if (connection.gone) return;
    if (reply.waits) return Wait(connection, reply);
    WriteLine(*connection.socket, reply.line);
    connection.socket->flush();
    if (reply.ends) End(connection);
}

void RemoteServer::Wait(Connection& connection, const RemoteReply& reply) {
    connection.waits = true;
    target_.WhenPainted(reply.document, reply.timeoutMs, reply.coarse, &connection.context,
                        [this, &connection](bool painted) {
                            connection.waits = false;
                            Send(connection, {connection.session.FinishWait(painted)});
                            PumpSoon();
                        });
}

// The socket sends what it still has and then says that it is disconnected.
void RemoteServer::End(Connection& connection) {
    if (std::exchange(connection.gone, true)) return;
    connection.socket->disconnectFromHost();
    PumpSoon();
}

void RemoteServer::DropGone() {
    for (const auto& connection : connections_) {
        if (!connection->gone) continue;
        QTcpSocket* socket = connection->socket;
        socket->disconnect(this);
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        if (socket->state() == QAbstractSocket::UnconnectedState) socket->deleteLater();
        // A receiver that never reads does not keep it for ever.
        QTimer::singleShot(lingerMs, socket, [socket] { socket->abort(); });
    }
    std::erase_if(connections_, [](const auto& connection) { return connection->gone; });
}

}  // namespace kymora
