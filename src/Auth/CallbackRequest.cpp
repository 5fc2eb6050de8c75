#include "Auth/LocalCallbackServer.h"

#include <QStringDecoder>
#include <QStringList>
#include <QUrl>

namespace tavro {

namespace {

std::optional<QString> percentDecoded(const QString& text) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QByteArray bytes = QByteArray::fromPercentEncoding(text.toUtf8());
    QString decoded = utf8(bytes);
    return utf8.hasError() ? std::nullopt : std::optional(std::move(decoded));
}

} // namespace

std::optional<QString> LocalCallbackServer::extractCode(const QString& request) {
    const QStringList lines = request.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
    if (lines.isEmpty())
        return std::nullopt;
    const QStringList words = lines.first().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() < 2)
        return std::nullopt;
    const QUrl url(QStringLiteral("http://localhost") + words[1], QUrl::StrictMode);
    if (!url.isValid() || !url.hasQuery())
        return std::nullopt;
    // Not QUrlQuery: it cannot tell an item without a value from one with an empty value.
    for (const QString& item : url.query(QUrl::FullyEncoded).split(QLatin1Char('&'))) {
        const qsizetype equals = item.indexOf(QLatin1Char('='));
        if (percentDecoded(item.left(equals)) != QStringLiteral("code"))
            continue;
        return equals < 0 ? std::nullopt : percentDecoded(item.mid(equals + 1));
    }
    return std::nullopt;
}

} // namespace tavro
