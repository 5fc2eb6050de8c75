#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace tavro {

/// Why something failed, as far as that makes a difference to the user. Set where the failure is raised.
struct Cause {
    enum Kind {
        other,
        serviceUnreachable,
        connectionLost,
        serviceSilent,    ///< no answer within the time limit
        serviceUntrusted, ///< no secure connection, mostly because of the certificate
        liveEventsRefused,
        serviceRefused,      ///< by an HTTP status
        unknownToService,    ///< what the request was about; HTTP 404
        answerNotUnderstood, ///< not what the interface promises
        fileUnreadable,
        recordingUnusable, ///< a further try would fail, too
        diskFull,
        memoryFull,
        sessionUnderWay,
        displayGone,
        keyringLocked,
        keyringRefused,
    };
    Kind kind = other;
    int httpStatus = 0; ///< of the service's answer, where there was one
};

/// The cause that an `errno` value gives away.
Cause causeOfErrno(int errorNumber);

/// Base of every failure that this program raises. An error has a domain, a code within it and sometimes a
/// text for people. It travels as an exception, unchanged, to its handler.
class Error : public std::exception {
public:
    const QString& domain() const { return errorDomain; }
    int code() const { return errorCode; }
    const QString& message() const { return errorMessage; } ///< for people; may be empty
    const Cause& cause() const { return errorCause; }
    QString text() const {
        return QString::fromUtf8(logText);
    } ///< as it reads in a log line, e.g. "notFound"
    const char* what() const noexcept override { return logText.constData(); }

protected:
    /// The log shows "Error Domain=D Code=1 "why"".
    Error(QString domain, int code, QString message, Cause cause = {});
    /// A named case without a text for people. The log shows `name`.
    struct Named {
        QString name;
    };
    Error(QString domain, int code, const Named& named, Cause cause = {});

private:
    QString errorDomain;
    int errorCode;
    QString errorMessage;
    Cause errorCause;
    QByteArray logText;
};

/// A failure of the platform layer or of a library below it, with the library's own message.
class PlatformError : public Error {
public:
    PlatformError(QString domain, int code, QString message = {}, Cause cause = {})
        : Error(std::move(domain), code, std::move(message), cause) {}
};

/// The description of any caught exception, `Error` or not.
struct ErrorDescription {
    QString domain;
    int code = 0;
    QString localizedDescription; ///< a generic sentence with domain and code when the error has no message
    QString text;                 ///< full textual form, for the log
    QString message = {};         ///< for people; may be empty. `inWords` (ErrorWords.h) says more.
    Cause cause = {};
};

/// Describes `error`, which must not be null. Any thread.
ErrorDescription describe(const std::exception_ptr& error);

/// Describe the exception being handled, within `catch (...)`.
inline ErrorDescription describeCurrentError() {
    return describe(std::current_exception());
}
inline QString localizedDescriptionOfCurrentError() {
    return describeCurrentError().localizedDescription;
}

} // namespace tavro
