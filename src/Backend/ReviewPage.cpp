#include "Backend/ReviewPage.h"

#include "Backend/Json.h"
#include "Core/Paths.h"

#include <QFile>
#include <QSaveFile>
#include <QUrl>
#include <QUuid>

namespace tavro {

constexpr auto jsonForm(const TakePause*) {
    return json::record(
        "TakePause", json::field("at", &TakePause::at), json::field("length", &TakePause::length));
}

constexpr auto jsonForm(const ReviewedTake*) {
    using json::field;
    return json::record("ReviewedTake", field("project", &ReviewedTake::project),
        field("scenario", &ReviewedTake::scenario), field("description", &ReviewedTake::description),
        field("display", &ReviewedTake::display), field("address", &ReviewedTake::address),
        field("link", &ReviewedTake::link), field("begun", &ReviewedTake::begun),
        field("durationSeconds", &ReviewedTake::durationSeconds), field("pauses", &ReviewedTake::pauses));
}

namespace {

QByteArray pageTemplate() {
    QFile file(QStringLiteral(":/tavro/Review/review.html"));
    if (!file.open(QIODevice::ReadOnly))
        throw PlatformError(QStringLiteral("Tavro.ReviewPage"), 1, file.errorString());
    return file.readAll();
}

} // namespace

std::optional<QString> webLink(const std::optional<QString>& address) {
    const QUrl url(address.value_or(QString()));
    const bool isWeb = url.scheme() == u"http" || url.scheme() == u"https";
    return isWeb && !url.host().isEmpty() ? std::optional(url.toString(QUrl::FullyEncoded)) : std::nullopt;
}

QByteArray reviewPage(const ReviewedTake& take) {
    QByteArray data = encodeJson(take);
    data.replace('<', "\\u003c"); // no text can end the script element that holds the data
    QByteArray page = pageTemplate();
    page.replace("{{nonce}}", QUuid::createUuid().toByteArray(QUuid::WithoutBraces));
    page.replace("{{take}}", data); // last: a text may contain the other placeholder
    return page;
}

void writeReviewPage(const ReviewedTake& take, const std::filesystem::path& path) {
    const QByteArray page = reviewPage(take);
    QSaveFile file(Paths::toText(path));
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) ||
        file.write(page) != page.size() || !file.commit())
        throw PlatformError(QStringLiteral("Tavro.ReviewPage"), 2, file.errorString());
}

} // namespace tavro
