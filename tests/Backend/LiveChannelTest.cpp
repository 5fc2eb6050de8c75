#include "Backend/HTTPUnderTest.h"

#include <QAbstractSocket>

#include <cmath>

namespace tavro::test {

using namespace std::chrono_literals;

namespace {

TEST(LiveChannel, failsASendWhenTheChannelFailed) {
    const struct {
        const char* what;
        Misbehaviour rule;
        QByteArray text; // part of the error's text
    } cases[] = {
        {"refused", {.match = "GET /live", .status = 401}, "Unhandled http status code: 401"},
        {"redirected", {.match = "GET /live", .status = 302}, "Unhandled http status code: 302"},
        {"no such host", {}, "refused"},
        {"no such scheme", {}, "Unsupported WebSocket scheme: gopher"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HTTPUnderTest t;
        t.service.misbehave(c.rule);
        if (c.rule.match.isEmpty())
            t.service.setLiveURL(c.text == "refused" ? u"ws://127.0.0.1:1/"_qs : u"gopher://127.0.0.1/"_qs);
        const QString id = t.newSession();
        const auto expect = [&](const ErrorDescription& error) {
            EXPECT_EQ(error.domain, u"QWebSocket");
            EXPECT_TRUE(error.localizedDescription.contains(QString::fromLatin1(c.text)))
                << qPrintable(error.localizedDescription);
        };
        expect(errorOf([&] { await(t.http->sendEvent(id, event::Paused())); }));
        expect(errorOf([&] { await(t.http->finishSession(id, 1)); })); // and the channel stays
        expect(errorOf([&] { await(t.http->sendEvent(id, event::Paused())); }));
        EXPECT_NO_THROW(await(t.http->deleteSession(id)));
        EXPECT_EQ(t.service.received("DELETE").size(), 1u);
        EXPECT_NO_THROW(await(t.http->sendEvent(id, event::Paused()))); // none open: dropped
    }
}

TEST(LiveChannel, failsASendOnAChannelThatTheServiceEnded) {
    for (const bool politely : {true, false}) {
        HTTPUnderTest t;
        const QString id = t.newSession();
        await(t.http->sendEvent(id, event::Paused()));
        if (politely)
            t.service.closeChannels(1001);
        else
            t.service.dropChannels();
        EXPECT_TRUE(waitUntil([&] { return t.service.openChannels() == 0; }));
        ErrorDescription error; // the end of the connection may take a moment to arrive here
        waitUntil([&] {
            try {
                await(t.http->sendEvent(id, event::Paused()));
                return false;
            } catch (...) {
                error = describeCurrentError();
                return true;
            }
        });
        expectError(error, u"QWebSocket", QAbstractSocket::RemoteHostClosedError,
            u"The remote host closed the connection");
        EXPECT_EQ(errorOf([&] { await(t.http->finishSession(id, 1)); }).domain, u"QWebSocket");
        EXPECT_NO_THROW(await(t.http->deleteSession(id)));
    }
}

TEST(LiveChannel, answersPingsAndIgnoresMessages) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    await(t.http->sendEvent(id, event::Paused()));
    t.service.sendText(u"{\"type\":\"deleted\"}"_qs);
    t.service.ping("are you there");
    EXPECT_TRUE(waitUntil([&] { return t.service.received("pong are you there").size() == 1; }));
    EXPECT_NO_THROW(await(t.http->sendEvent(id, event::Resumed())));
}

TEST(LiveChannel, waitsForTheHandshakeAndKeepsTheOrder) {
    HTTPUnderTest t;
    t.service.misbehave({.match = "GET /live", .delay = 300ms});
    const QString id = t.newSession();
    std::vector<QCoro::Task<>> sends;
    for (int i = 0; i < 5; ++i) {
        sends.push_back(t.http->sendEvent(id, event::Paused()));
        sends.push_back(t.http->sendEvent(id, event::Resumed()));
    }
    EXPECT_EQ(t.service.received("message").size(), 0u);
    auto finish = t.http->finishSession(id, 2);
    for (auto& send : sends)
        await(std::move(send));
    await(std::move(finish));
    const auto arrived = [&] { return t.service.received("close").size() == 1; };
    EXPECT_TRUE(waitUntil(arrived));
    const auto events = t.events(id);
    ASSERT_EQ(events.size(), 11u);
    for (std::size_t i = 0; i < 10; ++i)
        EXPECT_EQ(events[i], i % 2 == 0 ? LiveEvent(event::Paused()) : LiveEvent(event::Resumed()));
    EXPECT_EQ(t.service.received("close").at(0).closeCode, 1000);
}

TEST(LiveChannel, dropsTheChannelOfAnEarlierSessionWithoutClosingIt) {
    HTTPUnderTest t;
    const QString first = t.newSession();
    await(t.http->sendEvent(first, event::Paused()));
    const QString second = t.newSession();
    await(t.http->sendEvent(first, event::Resumed())); // the channel is the backend's, whatever the id
    EXPECT_TRUE(waitUntil([&] { return t.service.received("close").size() == 1; }));
    EXPECT_EQ(t.service.received("close").at(0).closeCode, 1006); // no close frame came
    EXPECT_EQ(t.events(second), std::vector<LiveEvent>{event::Resumed()});
}

TEST(LiveChannel, refusesToSendWhatHasNoJson) {
    HTTPUnderTest t;
    EXPECT_NO_THROW(await(t.http->sendEvent({}, event::Finished{std::nan("")}))); // nothing to send it on
    const QString id = t.newSession();
    EXPECT_EQ(errorOf([&] { await(t.http->finishSession(id, std::nan(""))); }).domain, u"Tavro.JSON");
    EXPECT_NO_THROW(await(t.http->finishSession(id, 1)));
}

} // namespace
} // namespace tavro::test
