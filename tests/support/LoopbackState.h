#pragma once

#include "Core/SerialQueue.h"
#include "support/LoopbackService.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpServer>
#include <QWebSocketServer>

#include <functional>
#include <map>
#include <optional>

namespace tavro::test {

struct Answer {
    int status = 200;
    QByteArray body;
    QHash<QByteArray, QByteArray> headers;
};

struct LoopbackService::State {
    Options options;
    QUrl baseURL;
    QString storeURL, liveURL;
    std::vector<Misbehaviour> rules;
    std::vector<Received> received;
    QFile recordFile;
    std::map<QString, QJsonArray> scenarios{{QStringLiteral("prj_demo"),
        {QJsonObject{{QStringLiteral("id"), QStringLiteral("scn_guest")},
            {QStringLiteral("projectId"), QStringLiteral("prj_demo")},
            {QStringLiteral("name"), QStringLiteral("Guest checkout flow")}}}}}; // by project
    int lastSession = 0;
    QStringList sessions; // not the deleted ones

    std::unique_ptr<QTcpServer> server;
    std::unique_ptr<QWebSocketServer> webSockets;
    QList<QWebSocket*> channels;
    SerialQueue queue{QStringLiteral("loopback")}; // last: gone before what runs on it

    void listen();
    void openChannel(QWebSocket* socket);
    void onChannels(const std::function<void(QWebSocket&)>& act);
    void note(Received entry);
    std::optional<Misbehaviour> ruleFor(const QByteArray& requestLine);

    // LoopbackAnswers.cpp
    Answer answer(const Received& request);
    Answer answerRest(const Received& request, const QStringList& path);
    Answer answerControl(const Received& request, const QString& verb);
    QString scheme(const char* name) const;
};

} // namespace tavro::test
