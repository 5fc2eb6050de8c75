#include "Backend/FileUpload.h"

#include "Backend/Proxy.h"
#include "Core/Errors.h"
#include "Core/Version.h"

#include <QCoreApplication>
#include <QFile>
#include <QScopeGuard>
#include <QSslCertificate>
#include <QSslConfiguration>

#include <curl/curl.h>
#include <memory>
#include <set>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

template <auto release>
struct Release {
    void operator()(auto* handle) const { release(handle); }
};

Cause causeOf(CURLcode code) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
        return {Cause::serviceUnreachable};
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
        return {Cause::connectionLost};
    case CURLE_OPERATION_TIMEDOUT:
        return {Cause::serviceSilent};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
        return {Cause::serviceUntrusted};
    case CURLE_WEIRD_SERVER_REPLY:
        return {Cause::answerNotUnderstood};
    default:
        return {};
    }
}

PlatformError curlError(CURLcode code, const QString& text) {
    return PlatformError(QStringLiteral("curl"), code, text, causeOf(code));
}

PlatformError unreadable(const QFile& file, QFileDevice::FileError code) {
    return PlatformError(QStringLiteral("QFile"), code, file.errorString(), {Cause::fileUnreadable});
}

/// What libcurl's callbacks work on.
struct Upload {
    const UploadProgress& progress;
    QFile file;
    qint64 total = 0;
    qint64 sent = -1;
    Clock::time_point lastMove = Clock::now();
    Clock::time_point lastReport = {};
    std::set<curl_socket_t> sockets = {}; // open ones; the connection's alone once it stands
    bool isPaused = false;
    int unreadStatus = 0; // of an answer that libcurl has not read

    static curl_socket_t open(void* upload, curlsocktype, curl_sockaddr* address) {
        const int socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
        if (socket >= 0)
            static_cast<Upload*>(upload)->sockets.insert(socket);
        return socket;
    }

    /// Takes up a refusal over plain HTTP that has come while sending failed: libcurl does not read it then.
    static int close(void* object, curl_socket_t socket) {
        auto& upload = *static_cast<Upload*>(object);
        upload.sockets.erase(socket);
        QByteArray line("HTTP/1.1 xxx");
        const auto size = recv(socket, line.data(), static_cast<std::size_t>(line.size()), MSG_DONTWAIT);
        if (size == line.size() && line.startsWith("HTTP/"))
            upload.unreadStatus = line.last(3).toInt();
        return ::close(socket);
    }

    /// Sends nothing while something has come. It may be a refusal after which the service has closed:
    /// sending would fail then, and libcurl would not read the refusal any more.
    static std::size_t read(char* piece, std::size_t, std::size_t most, void* object) {
        auto& upload = *static_cast<Upload*>(object);
        const qint64 from = upload.file.pos();
        const qint64 length = upload.file.read(piece, std::min<qint64>(most, upload.total - from));
        char first = 0;
        const bool hasCome = recv(*upload.sockets.begin(), &first, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
        upload.isPaused = hasCome && upload.file.seek(from);
        if (upload.isPaused)
            return CURL_READFUNC_PAUSE;
        return length > 0 || from == upload.total ? static_cast<std::size_t>(length) : CURL_READFUNC_ABORT;
    }

    static int move(void* object, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
        auto& upload = *static_cast<Upload*>(object);
        if (std::exchange(upload.sent, sent) == sent)
            return 0;
        upload.lastMove = Clock::now();
        if (upload.progress && (sent == upload.total || upload.lastMove - upload.lastReport >= 100ms)) {
            upload.lastReport = upload.lastMove;
            upload.progress(sent, upload.total);
        }
        return 0;
    }

    static std::size_t refuseBody(char*, std::size_t, std::size_t, void*) { return 0; }
};

/// The proxy's address in libcurl's form; empty for none.
QByteArray proxyAddress(const QUrl& url) {
    const QNetworkProxy proxy = proxyFor(url);
    if (proxy.type() == QNetworkProxy::NoProxy)
        return QByteArray("");
    QUrl address;
    address.setScheme(proxy.type() == QNetworkProxy::Socks5Proxy ? u"socks5h"_qs : u"http"_qs);
    address.setUserName(proxy.user());
    address.setPassword(proxy.password());
    address.setHost(proxy.hostName());
    address.setPort(proxy.port());
    return address.toEncoded();
}

int statusOf(CURL* easy) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return static_cast<int>(status);
}

/// Runs the transfer until its answer is known or it is over.
CURLcode perform(CURL* easy, Upload& upload, std::chrono::milliseconds timeout, const std::stop_token& stop) {
    const std::unique_ptr<CURLM, Release<curl_multi_cleanup>> multi(curl_multi_init());
    if (curl_multi_add_handle(multi.get(), easy) != CURLM_OK)
        return CURLE_FAILED_INIT;
    const auto removal = qScopeGuard([&] { curl_multi_remove_handle(multi.get(), easy); });
    const std::stop_callback wakeUp(stop, [&] { curl_multi_wakeup(multi.get()); });
    for (int running = 1, left = 0;;) {
        curl_multi_perform(multi.get(), &running);
        if (running == 0)
            return curl_multi_info_read(multi.get(), &left)->data.result;
        const int status = statusOf(easy);
        if (status >= 200 && status / 100 != 3) // a redirection's address may still be to come
            return CURLE_OK;
        if (stop.stop_requested())
            throw curlError(CURLE_ABORTED_BY_CALLBACK,
                QCoreApplication::translate("QNetworkReply", "Operation canceled"));
        const auto wait =
            std::chrono::ceil<std::chrono::milliseconds>(upload.lastMove + timeout - Clock::now());
        if (wait <= 0ms)
            throw curlError(CURLE_OPERATION_TIMEDOUT,
                QCoreApplication::translate("QAbstractSocket", "Socket operation timed out"));
        if (std::exchange(upload.isPaused, false))
            curl_easy_pause(easy, CURLPAUSE_CONT);
        curl_multi_poll(multi.get(), nullptr, 0, static_cast<int>(wait.count()), nullptr);
    }
}

} // namespace

HttpAnswer putFile(const QUrl& url, const std::filesystem::path& path, std::chrono::milliseconds timeout,
    const UploadProgress& progress, const std::stop_token& stop) {
    Upload upload{progress, path};
    if (!upload.file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw unreadable(upload.file, upload.file.error());
    upload.total = upload.file.size();

    [[maybe_unused]] static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    const std::unique_ptr<CURL, Release<curl_easy_cleanup>> easy(curl_easy_init());
    const std::unique_ptr<curl_slist, Release<curl_slist_free_all>> headers(
        curl_slist_append(curl_slist_append(nullptr, "Content-Type: video/mp4"), "Expect:"));
    char error[CURL_ERROR_SIZE] = "";
    const auto set = [&](CURLoption option, auto value) { curl_easy_setopt(easy.get(), option, value); };
    set(CURLOPT_ERRORBUFFER, error);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L); // does not wait for a name that is still being looked up
    set(CURLOPT_URL, url.toEncoded(QUrl::RemoveUserInfo | QUrl::RemoveFragment).constData());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTP09_ALLOWED, 1L); // what is not HTTP counts as an answer, of status 0
    set(CURLOPT_PROXY, proxyAddress(url).constData());
    set(CURLOPT_NOPROXY, ""); // or the environment would decide again
    set(CURLOPT_HTTPHEADER, headers.get());
    set(CURLOPT_USERAGENT, userAgent);
    set(CURLOPT_UPLOAD, 1L);
    set(CURLOPT_INFILESIZE_LARGE, curl_off_t(upload.total));
    set(CURLOPT_READFUNCTION, &Upload::read);
    set(CURLOPT_READDATA, &upload);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &Upload::move);
    set(CURLOPT_XFERINFODATA, &upload);
    set(CURLOPT_OPENSOCKETFUNCTION, &Upload::open);
    set(CURLOPT_OPENSOCKETDATA, &upload);
    set(CURLOPT_CLOSESOCKETFUNCTION, &Upload::close);
    set(CURLOPT_CLOSESOCKETDATA, &upload);
    set(CURLOPT_WRITEFUNCTION, &Upload::refuseBody);
    QByteArray authorities; // trusted besides the system's
    for (const QSslCertificate& authority : QSslConfiguration::defaultConfiguration().caCertificates())
        authorities += authority.toPem();
    curl_blob blob{authorities.data(), static_cast<std::size_t>(authorities.size()), CURL_BLOB_NOCOPY};
    if (!authorities.isEmpty())
        set(CURLOPT_CAINFO_BLOB, &blob);

    const CURLcode result = perform(easy.get(), upload, timeout, stop);
    if (result == CURLE_ABORTED_BY_CALLBACK)
        throw unreadable(upload.file, QFileDevice::ReadError);
    const bool isAnswered =
        result == CURLE_OK || result == CURLE_WRITE_ERROR; // the latter: a body was refused
    if (!isAnswered && upload.unreadStatus >= 400)
        return {upload.unreadStatus, {}, {}};
    if (!isAnswered)
        throw curlError(result, QString::fromUtf8(*error ? error : curl_easy_strerror(result)));
    HttpAnswer answer{statusOf(easy.get()), {}, {}};
    if (answer.isSuccess() && upload.sent < upload.total)
        throw curlError(
            CURLE_WEIRD_SERVER_REPLY, QStringLiteral("The server answered before it had the whole file"));
    curl_header* location = nullptr;
    if (curl_easy_header(easy.get(), "Location", 0, CURLH_HEADER, -1, &location) == CURLHE_OK)
        answer.location = QUrl::fromEncoded(location->value);
    return answer;
}

} // namespace tavro
