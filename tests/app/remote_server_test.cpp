#include "app/remote_server.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMenu>
#include <QMessageBox>
#include <QTcpSocket>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "app/remote_desktop.h"
#include "frame_fixture.h"
#include "remote/remote_reference.h"

namespace kymora::test {
namespace {

// A sender, which reads answers while the program's events run.
class Sender {
  public:
    explicit Sender(quint16 port) {
        socket_.connectToHost(QHostAddress::LocalHost, port);
        EXPECT_TRUE(socket_.waitForConnected(5000));
    }
    void Write(const QByteArray& bytes) {
        socket_.write(bytes);
        socket_.flush();
    }
    // The next answer; an empty object when none comes.
    QJsonObject Read(int timeoutMs = 5000) {
        (void)QTest::qWaitFor([this] { return socket_.canReadLine() || IsGone(); }, timeoutMs);
        if (!socket_.canReadLine()) return {};
        return QJsonDocument::fromJson(socket_.readLine()).object();
    }
    QJsonObject Ask(const QByteArray& line) {
        Write(line + "\n");
        return Read();
    }
    bool Enter(const QByteArray& token) { return Ask("{\"token\":\"" + token + "\"}")["ok"].toBool(); }
    bool IsGone() const { return socket_.state() == QAbstractSocket::UnconnectedState; }
    bool Ends() {
        return QTest::qWaitFor([this] { return IsGone(); }, 5000);
    }
    void Abort() { socket_.abort(); }

  private:
    QTcpSocket socket_;
};

class RemoteServerTest : public FrameTest {
  protected:
    void SetUp() override {
        FrameTest::SetUp();
        remoteFrame = std::make_unique<CMainFrame>(remoteSession, nullptr);
        remoteFrame->resize(1000, 700);
        remoteFrame->show();
        target = std::make_unique<DesktopRemote>(*remoteFrame, remoteSession);
        Serve({});
    }
    void Serve(RemoteLimits limits) {
        server = std::make_unique<RemoteServer>(*target, remoteHost, "secret", limits);
        ASSERT_TRUE(server->Listen(0));
    }
    std::unique_ptr<Sender> Entered() {
        auto sender = std::make_unique<Sender>(server->Port());
        EXPECT_TRUE(sender->Enter("secret"));
        return sender;
    }
    bool Settles(size_t connections) {
        return QTest::qWaitFor([&] { return server->ConnectionCount() == connections; }, 5000);
    }

    RemoteHost remoteHost{host};
    Session remoteSession{remoteHost, files};
    std::unique_ptr<CMainFrame> remoteFrame;
    std::unique_ptr<DesktopRemote> target;
    std::unique_ptr<RemoteServer> server;
};

TEST_F(RemoteServerTest, EndsStrangersAndGarbage) {
    for (const QByteArray& first : {QByteArray("{\"state\":true}\n"), QByteArray("GET / HTTP/1.1\r\n\r\n"),
                                    QByteArray("\xff\x00\xfe\n", 4), QByteArray(3 << 20, 'x')}) {
        Sender stranger(server->Port());
        stranger.Write(first);
        EXPECT_TRUE(stranger.Ends());
        EXPECT_TRUE(Settles(0));
    }
    for (const QByteArray& later : {QByteArray("garbage\n"), QByteArray(3 << 20, ' ')}) {
        const auto sender = Entered();
        EXPECT_TRUE(sender->Ask("{\"state\":true}")["ok"].toBool());
        sender->Write(later);
        EXPECT_TRUE(sender->Ends());
    }
    EXPECT_TRUE(Settles(0));
}

TEST_F(RemoteServerTest, WhoSaysNothingIsLetGo) {
    RemoteLimits limits;
    limits.admissionMs = 100;
    Serve(limits);
    auto known = Entered();
    Sender silent(server->Port());
    Sender half(server->Port());
    half.Write("{\"token\":\"sec");
    EXPECT_TRUE(silent.Ends());
    EXPECT_TRUE(half.Ends());
    EXPECT_TRUE(known->Ask("{\"state\":true}")["ok"].toBool());
}

TEST_F(RemoteServerTest, TakesLinesInAnyPieces) {
    Sender sender(server->Port());
    sender.Write("{\"token\":\"sec");
    QApplication::processEvents();
    QByteArray many = "ret\"}\r\n";
    for (int i = 0; i < 500; ++i) many += "{\"id\":" + QByteArray::number(i) + ",\"commands\":true}\n";
    sender.Write(many);
    EXPECT_TRUE(sender.Read()["ok"].toBool());
    for (int i = 0; i < 500; ++i) ASSERT_EQ(sender.Read()["id"].toInt(-1), i);
}

TEST_F(RemoteServerTest, DrivesTheWindow) {
    auto sender = Entered();
    const auto isDone = [&](const char* line) { return sender->Ask(line)["ok"].toBool(); };
    EXPECT_FALSE(isDone("{\"open\":\"/missing.kymr-dat\"}"));
    for (const RemoteCommand& command : target->FrameCommands())
        if (command.id == "event-threshold") {
            EXPECT_FALSE(command.enabled) << "nothing is open";
        }
    EXPECT_EQ(sender->Ask("{\"open\":\"/one.kymr-dat\"}")["document"].toInt(-1), 0);
    EXPECT_EQ(sender->Ask("{\"open\":\"/two.kymr-dat\"}")["document"].toInt(-1), 1);
    EXPECT_TRUE(isDone("{\"command\":\"show-all\",\"document\":0}"));
    const auto children = remoteFrame->Children();
    ExpectViewport(*children[0], 0.0, 99999.0);
    ExpectViewport(*children[1], 1000.0, 3000.0);
    EXPECT_TRUE(isDone("{\"key\":\"Ctrl+Right arrow\"}"));
    ExpectViewport(*children[1], 3000.0, 5000.0);
    EXPECT_TRUE(isDone("{\"key\":\"/\",\"document\":1}"));
    EXPECT_DOUBLE_EQ(children[1]->View().GetViewport().Duration(), 4000.0);
    const double before = children[1]->View().m_StartTime;
    EXPECT_FALSE(isDone("{\"key\":\"Hyperspace\"}"));
    EXPECT_TRUE(isDone("{\"mouse\":{\"type\":\"wheel\",\"x\":300,\"y\":200,\"turn\":-1}}"));
    EXPECT_GT(children[1]->View().m_StartTime, before);
    EXPECT_TRUE(isDone("{\"command\":\"window-cascade\"}"));
    EXPECT_TRUE(isDone("{\"resize\":{\"width\":900,\"height\":640}}"));
    EXPECT_EQ(remoteFrame->size(), QSize(900, 640));
    const QImage picture =
        QImage::fromData(QByteArray::fromBase64(sender->Ask("{\"png\":true}")["png"].toString().toLatin1()));
    EXPECT_EQ(picture.size(), remoteFrame->size() * remoteFrame->devicePixelRatio());

    children[0]->Document().SetModifiedFlag();
    EXPECT_FALSE(isDone("{\"close\":0}"));
    EXPECT_TRUE(isDone("{\"close\":0,\"discard\":true}"));
    ASSERT_EQ(remoteFrame->Children().size(), 1u);
    EXPECT_EQ(remoteFrame->Children()[0], children[1]);
    EXPECT_TRUE(host.WasSilent());
}

// The answer comes behind the painting, and the picture shows what was asked before.
TEST_F(RemoteServerTest, WaitsUntilTheViewIsPainted) {
    auto sender = Entered();
    sender->Ask("{\"open\":\"/one.kymr-dat\"}");
    EXPECT_TRUE(sender->Ask("{\"wait\":true}")["painted"].toBool());
    struct Painted : QObject {
        int count = 0;
        bool eventFilter(QObject*, QEvent* event) override {
            count += event->type() == QEvent::Paint;
            return false;
        }
    } painted;
    remoteFrame->Children()[0]->Widget().installEventFilter(&painted);
    sender->Write("{\"command\":\"expand\"}\n{\"id\":5,\"wait\":true}\n");
    EXPECT_TRUE(sender->Read()["ok"].toBool());
    const QJsonObject answer = sender->Read();
    EXPECT_TRUE(answer["painted"].toBool());
    EXPECT_EQ(answer["id"].toInt(), 5);
    EXPECT_GE(painted.count, 1);

    remoteFrame->hide();
    EXPECT_FALSE(sender->Ask("{\"wait\":true}")["painted"].toBool(true));
    remoteFrame->show();
    // Whoever leaves while waiting takes the wait along.
    sender->Write("{\"wait\":true}\n");
    QTest::qWait(1);
    sender->Abort();
    EXPECT_TRUE(Settles(0));
    EXPECT_TRUE(Entered()->Ask("{\"wait\":true}")["painted"].toBool());
}

TEST_F(RemoteServerTest, SendersDoNotDisturbEachOther) {
    auto one = Entered();
    auto two = Entered();
    one->Write("{\"command\":\"show-");
    EXPECT_EQ(two->Ask("{\"open\":\"/one.kymr-dat\"}")["document"].toInt(-1), 0);
    EXPECT_TRUE(one->Ask("all\"}")["ok"].toBool());
    two->Write("{\"state\":true}\n{\"command\":\"zoo");
    two->Abort();  // in the midst of a line, and without reading
    EXPECT_TRUE(Settles(1));
    EXPECT_TRUE(one->Ask("{\"state\":true}")["ok"].toBool());

    std::vector<std::unique_ptr<Sender>> more;
    for (int i = 0; i < 3; ++i) more.push_back(Entered());
    Sender fifth(server->Port());
    EXPECT_FALSE(fifth.Read()["ok"].toBool());
    EXPECT_TRUE(fifth.Ends());
    EXPECT_EQ(server->ConnectionCount(), 4u);
}

TEST_F(RemoteServerTest, AnswersThatNobodyReadsDoNotPileUp) {
    RemoteLimits limits;
    limits.unsentBytes = 100000;
    Serve(limits);
    // A plain descriptor, which nobody reads until the test does.
    const int raw = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server->Port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(raw, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    std::string lines = "{\"token\":\"secret\"}\n";
    constexpr int requests = 400;
    for (int i = 0; i < requests; ++i) lines += "{\"commands\":true}\n";
    ASSERT_EQ(::send(raw, lines.data(), lines.size(), 0), static_cast<ssize_t>(lines.size()));
    ASSERT_TRUE(QTest::qWaitFor([&] { return server->UnsentBytes() > 0; }, 30000));
    QTest::qWait(300);
    // One answer may come on top of the limit.
    EXPECT_LT(server->UnsentBytes(), limits.unsentBytes + 200000);
    // Read at last, everything comes.
    std::vector<char> bytes(1 << 20);
    int64_t received = 0;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            ssize_t n = 0;
            while ((n = ::recv(raw, bytes.data(), bytes.size(), MSG_DONTWAIT)) > 0)
                received += std::count(bytes.begin(), bytes.begin() + n, '\n');
            return received == requests + 1;
        },
        30000))
        << received;
    ::close(raw);
}

// --- dialogs ---

TEST_F(RemoteServerTest, DialogsThatARequestRaisesAreClosed) {
    auto sender = Entered();
    // Two ways to stand in the way, from within a request.
    QObject::connect(remoteFrame.get(), &CMainFrame::SettingsChanged, [] {
        QMessageBox(QMessageBox::Question, "Sure?", "Really?", QMessageBox::Yes | QMessageBox::No).exec();
        QMenu menu;
        menu.addAction("Item");
        menu.exec();
    });
    const QJsonObject answer = sender->Ask("{\"open\":\"/one.kymr-dat\"}");
    EXPECT_TRUE(answer["ok"].toBool());
    EXPECT_EQ(answer["messages"].toArray().size(), 2);
}

TEST_F(RemoteServerTest, APersonsDialogIsLeftAlone) {
    auto sender = Entered();
    sender->Ask("{\"open\":\"/one.kymr-dat\"}");
    QMessageBox box(QMessageBox::Question, "Sure?", "Really?", QMessageBox::Yes | QMessageBox::No);
    box.setModal(true);
    box.show();
    const QJsonObject refused = sender->Ask("{\"close\":true}");
    EXPECT_FALSE(refused["ok"].toBool());
    EXPECT_TRUE(box.isVisible());
    EXPECT_TRUE(sender->Ask("{\"state\":true}")["dialog"].isString());
    box.close();
    EXPECT_TRUE(sender->Ask("{\"close\":true}")["ok"].toBool());
}

// While something long is at work, whose box turns the events, requests wait for its end.
TEST_F(RemoteServerTest, RequestsWaitForALongOperation) {
    auto sender = Entered();
    auto progress = remoteSession.host.StartProgress("Reading", 100);
    sender->Write("{\"open\":\"/one.kymr-dat\"}\n");
    QTest::qWait(100);
    EXPECT_TRUE(remoteFrame->Children().empty());
    progress.reset();
    EXPECT_EQ(sender->Read()["document"].toInt(-1), 0);
}

TEST_F(RemoteServerTest, QuitClosesTheWindow) {
    auto sender = Entered();
    sender->Ask("{\"open\":\"/one.kymr-dat\"}");
    remoteFrame->Children()[0]->Document().SetModifiedFlag();
    EXPECT_FALSE(sender->Ask("{\"quit\":true}")["ok"].toBool());
    EXPECT_TRUE(remoteFrame->isVisible());
    EXPECT_TRUE(sender->Ask("{\"quit\":true,\"discard\":true}")["ok"].toBool());
    EXPECT_FALSE(remoteFrame->isVisible());
    EXPECT_TRUE(sender->Ends());
}

TEST(RemoteTokenTest, TokensAreLongAndDifferent) {
    const std::string token = MakeToken();
    EXPECT_EQ(token.size(), 64u);  // 4 bits a digit
    EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_NE(token, MakeToken());
}

// --- the reference ---

std::string ReadText(const std::string& name) {
    std::ifstream file(std::string(KYMORA_DOCS) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(RemoteReferenceTest, TheDocumentationIsThatOfTheTables) {
    const auto commands = FrameCommandList();
    EXPECT_EQ(ReadText("remote.md"), RemoteReference(commands)) << "scripts/reference writes it anew";
    EXPECT_EQ(ReadText("shortcuts.md"), ShortcutReference(commands)) << "scripts/reference writes it anew";
    for (const RemoteCommand& command : commands)
        EXPECT_EQ(FindCommand(command.id), nullptr) << command.id << " names two commands";
}

}  // namespace
}  // namespace kymora::test
