#include "Auth/LocalCallbackServer.h"
#include "Auth/AuthError.h"
#include "CallbackClient.h"
#include "FewDescriptors.h"

#include "support/Programs.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <semaphore>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::CallbackClient;
using test::waitUntil;

class LocalCallbackServerTest : public testing::Test {
protected:
    void start(std::chrono::milliseconds limit = 10min) {
        server = std::make_unique<LocalCallbackServer>(limit);
        port = server->start([this](const QString& code) {
            const std::lock_guard lock(mutex);
            received.push_back(code);
        });
    }
    QStringList codes() { // a deep copy: the server's thread writes to a shared list
        const std::lock_guard lock(mutex);
        return {received.begin(), received.end()};
    }
    std::optional<QByteArray> ask(
        const QByteArray& request, CallbackClient::Family family = CallbackClient::Family::ipv4) {
        CallbackClient client(port, family);
        client.send(request);
        return client.receiveAll();
    }

    int port = 0;

private:
    std::mutex mutex;
    std::vector<QString> received;

protected:
    std::unique_ptr<LocalCallbackServer> server; // last: its thread uses the members above
};

void expectPage(const std::optional<QByteArray>& response) {
    ASSERT_TRUE(response);
    const qsizetype end = response->indexOf("\r\n\r\n");
    const QByteArray body = response->mid(end + 4);
    EXPECT_EQ(
        response->left(end), "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
                                 QByteArray::number(body.size()));
    EXPECT_TRUE(body.contains("<title>Signed in — Tavro</title>"));
    EXPECT_TRUE(body.contains("You're signed in"));
    EXPECT_TRUE(body.contains("Return to the Tavro app — you can close this tab."));
    EXPECT_FALSE(body.contains("://")) << "the page stands on its own";
}

TEST_F(LocalCallbackServerTest, deliversTheCodeAndAnswersOnBothFamilies) {
    const test::LogLines log;
    start();
    expectPage(ask("GET /?code=four HTTP/1.1\r\nHost: localhost\r\n\r\n"));
    EXPECT_EQ(codes(), QStringList(u"four"_qs));
    if (CallbackClient::hasIPv6()) {
        expectPage(ask("GET /?code=six HTTP/1.1\r\nHost: localhost\r\n\r\n", CallbackClient::Family::ipv6));
        EXPECT_EQ(codes().last(), u"six"_qs);
    }
    EXPECT_EQ(log.all(), (QStringList{u"[INFO] callback server: listener ready"_qs,
                             u"[INFO] callback server: listening on port %1"_qs.arg(port)}));
}

TEST_F(LocalCallbackServerTest, answersWhateverComes) {
    start();
    const QByteArray cookies = "Cookie: " + QByteArray(20'000, 'x') + "\r\n";
    expectPage(ask("GET /favicon.ico HTTP/1.1\r\n\r\n"));
    expectPage(ask("\r\n"));
    expectPage(ask(QByteArray(1, '\0') + "\xff\xfe/?code=abc GET"));
    expectPage(ask("GET /?code=" + QByteArray(8'000, 'a') + " HTTP/1.1\r\n" + cookies + "\r\n"));
    CallbackClient silent(port);
    silent.finishSending();
    expectPage(silent.receiveAll());
    CallbackClient interrupted(port);
    interrupted.send("\r\nGET /?code=ab");
    expectPage(interrupted.receiveAll());
    EXPECT_EQ(codes(), QStringList()) << "no first line was whole within one receive of 4096 bytes";

    expectPage(ask("GET /?code=abc HTTP/1.1\r\n" + cookies + "\r\n"));
    EXPECT_EQ(codes(), QStringList(u"abc"_qs));
}

TEST_F(LocalCallbackServerTest, keepsNobodyWaitingForOthers) {
    start();
    CallbackClient silent(port);
    std::atomic<bool> stop = false;
    std::jthread flood([&] {
        const QByteArray megabyte(1 << 20, 'x');
        while (!stop)
            CallbackClient(port).send(megabyte);
    });
    std::jthread dribble([&] {
        while (!stop) {
            CallbackClient client(port);
            for (const char byte : QByteArray("GET /?code=slow HTTP/1.1\r\n\r\n"))
                client.send(QByteArray(1, byte));
        }
    });
    for (int i = 0; i < 20; ++i)
        expectPage(ask("GET /?code=good HTTP/1.1\r\n\r\n"));
    EXPECT_FALSE(silent.isEnded());
    stop = true;
    EXPECT_EQ(codes().count(u"good"_qs), 20);
    for (const QString& code : codes())
        EXPECT_TRUE(code == u"good" || code == u"slow") << code.toStdString() << " is a part of a code";
}

TEST_F(LocalCallbackServerTest, endsAClientThatDoesNotEndItself) {
    start(300ms);
    CallbackClient silent(port), answered(port);
    answered.send("GET / HTTP/1.1\r\n\r\n"); // and then neither reads nor closes
    EXPECT_TRUE(waitUntil([&] { return silent.isEnded(); }));
    EXPECT_EQ(silent.receiveAll(), QByteArray());
    expectPage(answered.receiveAll());
    expectPage(ask("GET / HTTP/1.1\r\n\r\n"));
}

TEST_F(LocalCallbackServerTest, servesSixtyFourAtATimeAndKeepsNobodyOut) {
    start();
    std::vector<CallbackClient> idle;
    for (int i = 0; i < 100; ++i)
        idle.emplace_back(port);
    expectPage(ask("GET /?code=late HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(codes(), QStringList(u"late"_qs));
    const auto open = [&] {
        return std::count_if(idle.begin(), idle.end(), [](auto& c) { return !c.isEnded(); });
    };
    EXPECT_LE(open(), 64);
    EXPECT_GE(open(), 60);
    EXPECT_FALSE(idle.back().isEnded()) << "the oldest make room";
}

TEST_F(LocalCallbackServerTest, keepsAnIdleClientWhenManyComeAtOnce) {
    std::binary_semaphore busy(0), free(0);
    server = std::make_unique<LocalCallbackServer>(10min);
    port = server->start([&](const QString&) {
        busy.release();
        free.acquire();
    });
    std::vector<CallbackClient> clients; // the first one stays silent
    for (int i = 0; i < 25; ++i)
        clients.emplace_back(port);
    clients.back().send("GET /?code=slow HTTP/1.1\r\n\r\n");
    busy.acquire();
    for (int i = 0; i < 48; ++i) // as many as wait for one accept
        clients.emplace_back(port).send("GET / HTTP/1.1\r\n\r\n");
    free.release();
    for (std::size_t i = 24; i < clients.size(); ++i)
        expectPage(clients[i].receiveAll());
    EXPECT_FALSE(clients.front().isEnded());
}

TEST_F(LocalCallbackServerTest, closesThePortAndFinishesWithThoseWhoAreIn) {
    start();
    CallbackClient accepted(port);
    expectPage(ask("GET / HTTP/1.1\r\n\r\n")); // accepted after the other one
    server->stop();
    EXPECT_FALSE(CallbackClient(port).isConnected());
    EXPECT_FALSE(CallbackClient(port, CallbackClient::Family::ipv6).isConnected());
    accepted.send("GET /?code=abc HTTP/1.1\r\n\r\n");
    expectPage(accepted.receiveAll());
    server->stop();
    CallbackClient never(port);
    server.reset(); // cuts what is open, without waiting for it
}

TEST_F(LocalCallbackServerTest, listensForThisMachineOnly) {
    start();
    const QByteArray sockets = test::outputOf(u"ss"_qs, {u"-ltnH"_qs, u"sport = :%1"_qs.arg(port)});
    QStringList addresses;
    for (const QString& line : QString::fromUtf8(sockets).split(u'\n', Qt::SkipEmptyParts))
        addresses.append(line.simplified().section(u' ', 3, 3));
    addresses.sort();
    QStringList loopback(u"127.0.0.1:%1"_qs.arg(port));
    if (CallbackClient::hasIPv6())
        loopback.append(u"[::1]:%1"_qs.arg(port));
    EXPECT_EQ(addresses, loopback);
}

TEST_F(LocalCallbackServerTest, failsWithTheSystemsErrorWhenItCannotListen) {
    // The sanitizers open descriptors when they first see a type.
    EXPECT_EQ(
        test::errorOf([] { throw std::system_error(EMFILE, std::generic_category(), "x"); }).code, EMFILE);
    const test::LogLines log;
    ErrorDescription error;
    {
        const test::FewDescriptors enoughForTheSocketsOnly(2);
        error = test::errorOf([] { LocalCallbackServer().start([](const QString&) {}); });
    }
    EXPECT_EQ(error.code, EMFILE);
    EXPECT_EQ(log.all(), QStringList(u"[ERROR] callback server: QTcpServer init failed: "_qs + error.text));
}

TEST_F(LocalCallbackServerTest, outlivesAShortageOfDescriptors) {
    start();
    CallbackClient accepted(port);
    expectPage(ask("GET / HTTP/1.1\r\n\r\n")); // accepted after the other one
    std::optional<CallbackClient> late;
    {
        const test::FewDescriptors one(1);
        late.emplace(port); // takes the last descriptor
        accepted.send("GET /?code=abc HTTP/1.1\r\n\r\n");
        expectPage(accepted.receiveAll());
    }
    late->send("GET / HTTP/1.1\r\n\r\n");
    expectPage(late->receiveAll());
}

TEST_F(LocalCallbackServerTest, startsAgain) {
    start();
    const int first = port;
    port = server->start([](const QString&) {});
    EXPECT_FALSE(CallbackClient(first).isConnected());
    expectPage(ask("GET /?code=abc HTTP/1.1\r\n\r\n"));
    EXPECT_TRUE(codes().isEmpty()) << "the code is the later handler's";
}

TEST(AuthError, isOneCaseWithoutText) {
    const AuthError error(AuthError::Case::failed);
    EXPECT_EQ(error, AuthError(AuthError::Case::failed));
    EXPECT_EQ(std::hash<AuthError>()(error), std::hash<AuthError>()(AuthError(AuthError::Case::failed)));
    EXPECT_EQ(error.text(), u"failed"_qs);
    EXPECT_TRUE(error.message().isEmpty());
}

} // namespace
} // namespace tavro
