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

/// One request, handshake or message that reached the service.
struct Received {
    enum class Kind { request, handshake, message, pong, close };
    Kind kind = Kind::request;
    QByteArray method;
    QByteArray target;                     ///< path and query as sent; for messages, those of the handshake
    QHash<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;                       ///< first 8 MiB of a request; text of a message
    std::int64_t bodySize = 0;
    QByteArray sha256;    ///< of the whole body, hexadecimal
    bool complete = true; ///< false: the connection ended inside the body
    int closeCode = 0;

    /// E.g. "POST /api/app/sessions", "message {…}", "close 1000", to compare sequences.
    QByteArray line() const;
    QJsonObject toJson() const;
};

/// A fault of the service. Applies to requests and handshakes whose "METHOD target" begins with `match`; the
/// first matching rule counts.
struct Misbehaviour {
    QByteArray match = {};
    int times = -1;       ///< number of requests; -1: all
    int status = 0;       ///< of the answer; 0: as usual
    QByteArray body = {}; ///< of the answer; null: as usual
    QHash<QByteArray, QByteArray> headers = {};
    std::chrono::milliseconds delay{0};     ///< before the answer
    std::chrono::milliseconds dribble{0};   ///< between the bytes of the answer's body
    std::int64_t cutAfter = -1;             ///< cuts the connection after this many bytes of the body
    std::int64_t readChunk = 0;             ///< reads a body in pieces of this many bytes …
    std::chrono::milliseconds readEvery{0}; ///< … at this interval; 0: stops after the first

    static Misbehaviour fromJson(const QJsonObject& object);
};

/// A small remote service on a loopback port: REST, sign-in, live channel and an object store. Records all it
/// receives, in order. Has its own thread; call its functions on any other.
class LoopbackService {
public:
    struct Options {
        QString token = QStringLiteral("token-1");  ///< accepted by /api/app/, issued by the code exchange
        std::uint16_t port = 0;                     ///< 0: any free one
        std::filesystem::path recordFile;           ///< when set: gets all received, one JSON object a line
        std::filesystem::path certificate, key;     ///< PEM files; when set, https and wss
        QString host = QStringLiteral("127.0.0.1"); ///< in the addresses that the service issues
    };
    LoopbackService();
    explicit LoopbackService(Options options);
    ~LoopbackService();

    QUrl baseURL() const;
    /// For upload-url and sessions; "{id}" stands for the session's id. Empty: the service itself.
    void setStoreURL(const QString& url);
    void setLiveURL(const QString& url);

    void misbehave(Misbehaviour rule);
    void behave(); ///< forgets all rules

    std::vector<Received> received() const;
    QList<QByteArray> lines() const; ///< of what was received so far
    // By connection: requests and messages on two connections have no fixed order.
    QList<QByteArray> requestLines() const;
    QList<QByteArray> channelLines() const;
    std::vector<Received> received(const QByteArray& linePrefix) const;
    void forget(); ///< what was received so far

    // On all open live channels:
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
