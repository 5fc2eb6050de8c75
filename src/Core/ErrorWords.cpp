#include "Core/ErrorWords.h"

#include <algorithm>
#include <iterator>

namespace tavro {
namespace {

struct Row {
    Cause::Kind kind;
    const char* happened;
    const char* remedy;
};

constexpr Row rows[] = {
    {Cause::serviceUnreachable, "The service cannot be reached.",
        "Check the network connection and the service's address."},
    {Cause::connectionLost, "The connection to the service broke off.", "Check the network connection."},
    {Cause::serviceSilent, "The service does not answer.",
        "Check the network connection, or try again later."},
    {Cause::serviceUntrusted,
        "There is no secure connection to the service: its certificate could not be verified.",
        "Check this computer's date, or ask whoever runs the service."},
    {Cause::liveEventsRefused, "The service did not accept the session's live events.",
        "A proxy or a firewall may be in the way."},
    {Cause::answerNotUnderstood, "The service gave an answer that Tavro does not understand.",
        "Check the service's address, or update Tavro."},
    {Cause::fileUnreadable, "The recording's file cannot be read.", ""},
    {Cause::diskFull, "The disk is full.", "Make room on it."},
    {Cause::memoryFull, "The computer has no memory left.", "Close other programs."},
    {Cause::sessionUnderWay, "Another session is still under way.",
        "Finish it, or wait until its upload has ended."},
    {Cause::displayGone, "The display is not there any more.", "Connect it again, or choose another one."},
    {Cause::keyringLocked, "The keyring stayed locked.", "Unlock it, then sign in again."},
    {Cause::keyringRefused, "The keyring did not store it.", "Check the keyring, then sign in again."},
};

const char* nameOf(Attempt attempt) {
    switch (attempt) {
    case Attempt::createSession:
        return "the new session";
    case Attempt::upload:
        return "the upload";
    case Attempt::deleteSession:
        return "the deletion";
    case Attempt::listProjects:
        return "to list the projects";
    case Attempt::listScenarios:
        return "to list the scenarios";
    case Attempt::local:
        break;
    }
    return "the request";
}

ErrorWords unknownToService(Attempt attempt) {
    if (attempt == Attempt::createSession)
        return {QStringLiteral("The service no longer knows this scenario."),
            QStringLiteral("Choose another one.")};
    if (attempt == Attempt::listProjects)
        return {QStringLiteral("The service's address leads elsewhere (HTTP 404)."),
            QStringLiteral("Check the service's address.")};
    if (attempt == Attempt::listScenarios)
        return {QStringLiteral("The service no longer knows this project."),
            QStringLiteral("Choose another one.")};
    return {QStringLiteral("The service no longer knows this session."), {}};
}

ErrorWords refusal(int status, Attempt attempt) {
    constexpr int unauthorized = 401, firstOfTheService = 500;
    const QString what = QLatin1String(nameOf(attempt));
    if (status >= firstOfTheService)
        return {QStringLiteral("The service has a fault and refused %1 (HTTP %2).").arg(what).arg(status),
            QStringLiteral("Try again later.")};
    return {QStringLiteral("The service refused %1 (HTTP %2).").arg(what).arg(status),
        status == unauthorized ? QStringLiteral("Sign in again in Settings.")
                               : QStringLiteral("Ask whoever runs the service.")};
}

} // namespace

ErrorWords inWords(const ErrorDescription& error, Attempt attempt) {
    if (error.cause.kind == Cause::unknownToService)
        return unknownToService(attempt);
    if (error.cause.kind == Cause::serviceRefused)
        return refusal(error.cause.httpStatus, attempt);
    const auto* row = std::ranges::find(rows, error.cause.kind, &Row::kind);
    if (row != std::end(rows))
        return {QString::fromUtf8(row->happened), QString::fromUtf8(row->remedy)};
    if (!error.message.isEmpty())
        return {asSentence(error.message), {}};
    return {QStringLiteral("It failed for a reason that Tavro has no words for."),
        QStringLiteral("“View Logs” in the menu shows the details.")};
}

QString asSentence(const QString& text) {
    const bool isOne = text.isEmpty() || QStringLiteral(".!?…").contains(text.back());
    return isOne ? text : text + QLatin1Char('.');
}

} // namespace tavro
