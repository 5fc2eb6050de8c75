#include "Auth/LocalCallbackServer.h"

#include <QStringDecoder>
#include <QStringList>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

std::optional<QString> decoded(QByteArrayView bytes) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8(bytes);
    return utf8.hasError() ? std::nullopt : std::optional(std::move(text));
}

std::optional<QString> percentDecoded(const QString& text) {
    return decoded(QByteArray::fromPercentEncoding(text.toUtf8()));
}

} // namespace

std::optional<QString> LocalCallbackServer::extractCode(QByteArrayView received) {
    const QString text = decoded(received).value_or(QString());
    // Only whole lines: a truncated line could hold a truncated code.
    return extractCode(text.first(std::max<qsizetype>(0, text.lastIndexOf(QStringLiteral("\r\n")))));
}

std::optional<QString> LocalCallbackServer::extractCode(const QString& request) {
    const QStringList lines = request.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
    const QStringList words = lines.value(0).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() < 2)
        return std::nullopt;
    const QUrl url(QStringLiteral("http://localhost") + words[1], QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    // QUrlQuery does not distinguish an item without a value from one with an empty value.
    for (const QString& item : url.query(QUrl::FullyEncoded).split(QLatin1Char('&'))) {
        const qsizetype equals = item.indexOf(QLatin1Char('='));
        if (percentDecoded(item.left(equals)) != QStringLiteral("code"))
            continue;
        return equals < 0 ? std::nullopt : percentDecoded(item.mid(equals + 1));
    }
    return std::nullopt;
}

} // namespace tavro
