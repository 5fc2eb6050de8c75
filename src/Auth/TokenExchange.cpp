#include "Auth/TokenExchange.h"

#include "Auth/AuthError.h"
#include "Backend/HttpTransport.h"
#include "Backend/Json.h"
#include "Core/Log.h"

namespace tavro {

namespace {

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

HttpRequest requestFor(const QUrl& baseURL, const QByteArray& body) {
    QUrl url = baseURL;
    if (url.isValid())
        url.setPath(QStringLiteral("/api/auth/token"));
    if (!url.isValid())
        throw AuthError(AuthError::Case::failed);
    return {"POST", url, {}, body};
}

} // namespace

QCoro::Task<IssuedToken> exchangeCodeForToken(HttpTransport& http, QString code, QUrl baseURL) {
    auto asking =
        http.answerTo(requestFor(baseURL, json::write(QJsonObject{{QStringLiteral("code"), code}})));
    const HttpAnswer answer = co_await asking;
    if (answer.status < 200 || answer.status > 299) {
        Log::error(QStringLiteral("signIn: token exchange failed (HTTP %1)")
                       .arg(answer.status == 0 ? -1 : answer.status));
        throw AuthError(AuthError::Case::failed);
    }
    const auto response = decodeJson<TokenResp>(answer.body);
    co_return IssuedToken{response.token, response.user ? response.user->email : std::nullopt};
}

} // namespace tavro
