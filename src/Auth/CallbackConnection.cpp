#include "Auth/CallbackConnection.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t longestReceive = 4096;
// What a client may still be sending when it has its answer; a browser is done, or ends, long before.
constexpr std::size_t longestDrain = 1 << 20;
constexpr auto drainTime = 2s;

// A line cut short could hold a code cut short.
bool hasWholeRequestLine(QStringView text) {
    const auto lineBreak = QStringLiteral("\r\n");
    while (text.startsWith(lineBreak))
        text = text.sliced(lineBreak.size());
    return text.contains(lineBreak);
}

bool mustWait() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

} // namespace

CallbackConnection::CallbackConnection(
    FileDescriptor accepted, Clock::time_point deadline, QByteArray response)
    : socket(std::move(accepted))
    , end(deadline)
    , unsent(std::move(response)) {}

short CallbackConnection::events() const {
    return phase == Phase::sending ? POLLOUT : POLLIN;
}

void CallbackConnection::proceed(const LocalCallbackServer::CodeHandler& onCode) {
    if (phase == Phase::receiving)
        receive(onCode);
    if (phase == Phase::sending)
        send();
    if (phase == Phase::draining)
        drain();
}

// Exactly one receive: a request line that is not complete in it carries no code, but is answered all the
// same.
void CallbackConnection::receive(const LocalCallbackServer::CodeHandler& onCode) {
    std::array<char, longestReceive> buffer;
    const ssize_t size = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
    if (size < 0 && mustWait())
        return;
    phase = Phase::sending;
    if (size <= 0)
        return;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(QByteArrayView(buffer.data(), size));
    if (utf8.hasError() || !hasWholeRequestLine(text))
        return;
    if (const auto code = LocalCallbackServer::extractCode(text))
        onCode(*code);
}

void CallbackConnection::send() {
    while (!unsent.isEmpty()) {
        const ssize_t size =
            ::send(socket.get(), unsent.constData(), static_cast<std::size_t>(unsent.size()), MSG_NOSIGNAL);
        if (size < 0 && mustWait())
            return;
        if (size < 0) {
            phase = Phase::done;
            return;
        }
        unsent.remove(0, size);
    }
    ::shutdown(socket.get(), SHUT_WR);
    end = std::min(end, Clock::now() + drainTime);
    phase = Phase::draining;
}

// A socket closed over unread data resets the connection, and the browser may lose the page with it: what the
// client still has to say is read and thrown away until it ends, too.
void CallbackConnection::drain() {
    std::array<char, 65536> buffer;
    const ssize_t size = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
    if (size < 0 && mustWait())
        return;
    drained += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    if (size <= 0 || drained > longestDrain)
        phase = Phase::done;
}

} // namespace tavro
