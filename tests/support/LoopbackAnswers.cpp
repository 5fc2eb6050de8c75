#include "support/LoopbackState.h"

#include <QJsonArray>
#include <QUrlQuery>
#include <QWebSocket>

namespace tavro::test {

namespace {

QByteArray bytes(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}
QByteArray bytes(const QJsonArray& array) {
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

Answer ok(const QByteArray& json) {
    return {200, json, {{"Content-Type", "application/json"}}};
}

} // namespace

QString LoopbackService::State::scheme(const char* name) const {
    return QString::fromLatin1(name) + (options.certificate.empty() ? QString() : QStringLiteral("s"));
}

Answer LoopbackService::State::answer(const Received& request) {
    const QUrl url = QUrl::fromEncoded(request.target);
    const QString path = url.path();
    if (path.startsWith(QLatin1String("/control/")))
        return answerControl(request, path.section(QLatin1Char('/'), 2));
    if (path.startsWith(QLatin1String("/api/app/"))) {
        if (request.headers.value("authorization") != "Bearer " + options.token.toUtf8())
            return {401, "{}", {}};
        return answerRest(request, path.split(QLatin1Char('/')).mid(3));
    }
    if (path == QLatin1String("/api/auth/token"))
        return ok(bytes(QJsonObject{{QStringLiteral("token"), options.token},
            {QStringLiteral("user"),
                QJsonObject{{QStringLiteral("email"), QStringLiteral("tester@example.org")}}}}));
    if (path == QLatin1String("/auth/app")) { // the sign-in page, for a user already signed in
        const QString callback = QUrlQuery(url).queryItemValue(QStringLiteral("cb"), QUrl::FullyDecoded);
        return {302, {}, {{"Location", callback.toUtf8() + "/?code=code-1"}}};
    }
    if (path.startsWith(QLatin1String("/store/")) && request.method == "PUT")
        return {200, {}, {}};
    if (path.endsWith(QLatin1String("/review")))
        return {200, "<!doctype html><title>Review</title>", {{"Content-Type", "text/html"}}};
    return {404, "{}", {}};
}

// `path`: the parts after /api/app/, split at the slashes.
Answer LoopbackService::State::answerRest(const Received& request, const QStringList& path) {
    const QByteArray call = request.method + ' ' + path.value(0).toUtf8();
    const QString id = path.value(1), part = path.value(2);
    const QJsonObject sent = QJsonDocument::fromJson(request.body).object();
    if (call == "GET me")
        return ok(R"({"id":"usr_1","email":"tester@example.org","name":"Tess Ter","plan":"ignored"})");
    if (call == "GET projects" && path.size() == 1)
        return ok(
            R"([{"id":"prj_demo","name":"Checkout Redesign","description":"Sample project","systemName":"Shop v2"}])");
    if (call == "GET projects" && part == QLatin1String("scenarios"))
        return ok(bytes(scenarios[id]));
    if (call == "POST projects" && part == QLatin1String("scenarios")) {
        QJsonObject scenario = sent;
        scenario[QStringLiteral("id")] = QStringLiteral("scn_%1").arg(scenarios[id].size() + 1);
        scenario[QStringLiteral("projectId")] = id;
        scenarios[id].append(scenario);
        return ok(bytes(scenario));
    }
    if (call == "POST sessions" && path.size() == 1) {
        const QString session = QStringLiteral("ses_%1").arg(++lastSession);
        sessions.append(session);
        QString live =
            liveURL.isEmpty()
                ? QStringLiteral("%1://%2:%3/live/{id}").arg(scheme("ws"), options.host).arg(baseURL.port())
                : liveURL;
        return ok(bytes(QJsonObject{{QStringLiteral("sessionId"), session},
            {QStringLiteral("wsUrl"), live.replace(QLatin1String("{id}"), session)}}));
    }
    if (path.value(0) == QLatin1String("sessions") && !sessions.contains(id))
        return {404, "{}", {}};
    if (call == "POST sessions" && part == QLatin1String("upload-url")) {
        QString store = storeURL.isEmpty()
                            ? baseURL.toString() + QStringLiteral("/store/{id}/video.mp4?signature=a%2Fb%2Bc")
                            : storeURL;
        return ok(bytes(QJsonObject{{QStringLiteral("url"), store.replace(QLatin1String("{id}"), id)},
            {QStringLiteral("key"), QStringLiteral("videos/%1.mp4").arg(id)}}));
    }
    if (call == "POST sessions" && part == QLatin1String("video-uploaded"))
        return ok("{}");
    if (call == "DELETE sessions" && path.size() == 2) {
        sessions.removeOne(id);
        return {204, {}, {}};
    }
    return {404, "{}", {}};
}

// Control from another program: POST /control/VERB with a JSON object.
Answer LoopbackService::State::answerControl(const Received& request, const QString& verb) {
    const QJsonObject sent = QJsonDocument::fromJson(request.body).object();
    const auto text = [&](const char* key) { return sent[QLatin1String(key)].toString(); };
    if (verb == QLatin1String("received")) {
        QJsonArray all;
        for (const Received& entry : received)
            all.append(entry.toJson());
        return ok(bytes(all));
    }
    if (verb == QLatin1String("misbehave"))
        rules.push_back(Misbehaviour::fromJson(sent));
    else if (verb == QLatin1String("behave"))
        rules.clear();
    else if (verb == QLatin1String("forget"))
        received.clear();
    else if (verb == QLatin1String("store"))
        storeURL = text("url");
    else if (verb == QLatin1String("live"))
        liveURL = text("url");
    else if (verb == QLatin1String("send"))
        onChannels([&](QWebSocket& channel) { channel.sendTextMessage(text("text")); });
    else if (verb == QLatin1String("ping"))
        onChannels([&](QWebSocket& channel) { channel.ping(text("payload").toUtf8()); });
    else if (verb == QLatin1String("close"))
        onChannels([code = sent[QLatin1String("code")].toInt(1000)](
                       QWebSocket& channel) { channel.close(QWebSocketProtocol::CloseCode(code)); });
    else if (verb == QLatin1String("drop"))
        onChannels([](QWebSocket& channel) { channel.abort(); });
    else
        return {404, "{}", {}};
    return ok("{}");
}

} // namespace tavro::test
