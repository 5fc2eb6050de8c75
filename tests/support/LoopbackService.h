#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace tavro::test {

/// One thing that reached the service.
struct Received {
    enum class Kind { request, handshake, message, pong, close };
    Kind kind = Kind::request;
    QByteArray method;
    QByteArray target; ///< path and query exactly as sent; of the handshake, for what comes on its channel
    QHash<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;                       ///< a request's first 8 MiB, a message's text
    std::int64_t bodySize = 0;
    QByteArray sha256;    ///< of the whole body, hexadecimal
    bool complete = true; ///< false: the connection ended within the body
    int closeCode = 0;

    /// "POST /api/app/sessions", "message {…}", "close 1000" …, for comparing whole sequences.
    QByteArray line() const;
    QJsonObject toJson() const;
};

/// What the service does instead of behaving. It applies to requests and handshakes whose "METHOD target"
/// begins with `match`, the first rule that matches.
struct Misbehaviour {
    QByteArray match = {};
    int times = -1;       ///< for so many requests; -1: all
    int status = 0;       ///< answers so; 0: as usual
    QByteArray body = {}; ///< with this body, whether the status is given or not, unless null
    QHash<QByteArray, QByteArray> headers = {};
    std::chrono::milliseconds delay{0};     ///< before the answer
    std::chrono::milliseconds dribble{0};   ///< between the bytes of the answer's body
    std::int64_t cutAfter = -1;             ///< cuts the connection when so many bytes of the body have come
    std::int64_t readChunk = 0;             ///< reads a body so many bytes at a time …
    std::chrono::milliseconds readEvery{0}; ///< … and so often; 0: stops reading after the first chunk

    static Misbehaviour fromJson(const QJsonObject& object);
};

/// A real, small remote service on a loopback port: the REST interface, the code exchange of the sign-in, the
/// live channel's WebSocket and an object store that takes pre-signed uploads. Notes everything it is sent,
/// in order, and misbehaves when told to. Runs on a thread of its own; every function may be called from any
/// other.
class LoopbackService {
public:
    struct Options {
        QString token =
            QStringLiteral("token-1");    ///< what /api/app/ accepts, and what the code exchange hands out
        std::uint16_t port = 0;           ///< 0: any free one
        std::filesystem::path recordFile; ///< when set: what is received, one JSON object a line
        std::filesystem::path certificate, key; ///< PEM files; when set, https and wss
        QString host =
            QStringLiteral("127.0.0.1"); ///< as it stands in the addresses that the service hands out
    };
    LoopbackService();
    explicit LoopbackService(Options options);
    ~LoopbackService();

    QUrl baseURL() const;
    /// What upload-url and sessions answer with; "{id}" stands for the session's id. Empty: the service
    /// itself.
    void setStoreURL(const QString& url);
    void setLiveURL(const QString& url);

    void misbehave(Misbehaviour rule);
    void behave(); ///< forgets all rules

    std::vector<Received> received() const;
    QList<QByteArray> lines() const; ///< of what was received so far
    // The same by connection: what travels on two may arrive in either order.
    QList<QByteArray> requestLines() const;
    QList<QByteArray> channelLines() const;
    std::vector<Received> received(const QByteArray& linePrefix) const;
    void forget(); ///< what was received so far

    // The service's side of all live channels that are open.
    int openChannels() const;
    void sendText(const QString& text);
    void ping(const QByteArray& payload);
    void closeChannels(int code);
    void dropChannels(); ///< without a close frame

    struct State; // the service's inside, on its thread

private:
    std::unique_ptr<State> state;
};

} // namespace tavro::test
