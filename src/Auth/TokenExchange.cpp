#include "Auth/TokenExchange.h"

#include "Auth/AuthError.h"
#include "Backend/Json.h"
#include "Core/Log.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <qcoro/qcoronetworkreply.h>

#include <chrono>

namespace tavro {

namespace {

using namespace std::chrono_literals;

struct CodeRequest {
    QString code;
};
constexpr auto jsonForm(const CodeRequest*) {
    return json::record("CodeRequest", json::field("code", &CodeRequest::code));
}

struct UserInfo {
    std::optional<QString> email;
};
constexpr auto jsonForm(const UserInfo*) {
    return json::record("UserInfo", json::field("email", &UserInfo::email));
}

struct TokenResp {
    QString token;
    std::optional<UserInfo> user;
};
constexpr auto jsonForm(const TokenResp*) {
    return json::record(
        "TokenResp", json::field("token", &TokenResp::token), json::field("user", &TokenResp::user));
}

struct DeleteLater {
    void operator()(QNetworkReply* reply) const { reply->deleteLater(); }
};
using Reply = std::unique_ptr<QNetworkReply, DeleteLater>;

QNetworkRequest requestFor(const QUrl& baseURL) {
    QUrl url = baseURL;
    if (url.isValid())
        url.setPath(QStringLiteral("/api/auth/token"));
    if (!url.isValid())
        throw AuthError(AuthError::Case::failed);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setTransferTimeout(std::chrono::milliseconds(60s).count());
    return request;
}

IssuedToken issuedBy(QNetworkReply& reply) {
    const QVariant answered = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const int status = answered.isValid() ? answered.toInt() : -1;
    const bool success = status >= 200 && status <= 299;
    // An answer of any other status is an error to the library too, but not one of the network.
    if (reply.error() != QNetworkReply::NoError && (success || !answered.isValid()))
        throw PlatformError(QStringLiteral("QNetworkReply"), reply.error(), reply.errorString());
    if (!success) {
        Log::error(QStringLiteral("signIn: token exchange failed (HTTP %1)").arg(status));
        throw AuthError(AuthError::Case::failed);
    }
    const auto response = decodeJson<TokenResp>(reply.readAll());
    return {response.token, response.user ? response.user->email : std::nullopt};
}

} // namespace

QCoro::Task<IssuedToken> exchangeCodeForToken(
    std::shared_ptr<QNetworkAccessManager> network, QString code, QUrl baseURL) {
    const QNetworkRequest request = requestFor(baseURL);
    const Reply reply(network->post(request, encodeJson(CodeRequest{code})));
    QNetworkReply* const running = reply.get();
    co_await running;
    co_return issuedBy(*reply);
}

} // namespace tavro
