#pragma once

#include "support/LoopbackState.h"

#include <QCryptographicHash>
#include <QTcpSocket>
#include <QTimer>

namespace tavro::test {

/// One HTTP connection of the service. Answers requests one after another.
class LoopbackConnection : public QObject {
public:
    LoopbackConnection(LoopbackService::State& service, QTcpSocket* socket);
    ~LoopbackConnection() override;

private:
    void read();
    bool readHead();
    bool readBody();
    void upgrade(QByteArray head);
    void reply();
    void write(const Answer& answer);
    void writeSlowly(QByteArray bytes, std::chrono::milliseconds pause);

    LoopbackService::State& service;
    QTcpSocket* socket;
    QTimer readTimer;
    bool inBody = false;
    bool answering = false;
    Received request;
    std::int64_t expected = 0; // the body's length
    QCryptographicHash hash{QCryptographicHash::Sha256};
    Misbehaviour rule;
};

} // namespace tavro::test
