#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace tavro {

/// Base of every failure that this program raises itself.
/// An error has a domain (whose failure it is), a code within it and, sometimes, a text for people.
/// Failures travel as exceptions, unchanged, from where they arise to whoever handles them.
class Error : public std::exception {
public:
    const QString& domain() const { return errorDomain; }
    int code() const { return errorCode; }
    const QString& message() const { return errorMessage; } ///< for people; may be empty
    QString text() const {
        return QString::fromUtf8(logText);
    } ///< as it reads in a log line, e.g. "notFound"
    const char* what() const noexcept override { return logText.constData(); }

protected:
    /// An error that reads like "Error Domain=D Code=1 "why"" in the log.
    Error(QString domain, int code, QString message);
    /// A named case. It has no text for people, and reads as `name` in the log.
    struct Named {
        QString name;
    };
    Error(QString domain, int code, const Named& named);

private:
    QString errorDomain;
    int errorCode;
    QString errorMessage;
    QByteArray logText;
};

/// A failure of the platform layer or of a library below it. The message keeps the library's own words.
class PlatformError final : public Error {
public:
    PlatformError(QString domain, int code, QString message = {})
        : Error(std::move(domain), code, std::move(message)) {}
};

/// What any caught exception says of itself, whether it is an `Error` or not.
struct ErrorDescription {
    QString domain;
    int code = 0;
    QString localizedDescription; ///< for people; a generic sentence when the error has no message
    QString text;                 ///< full textual form, for the log
};

/// Describes `error`, which must not be null. Any thread.
ErrorDescription describe(const std::exception_ptr& error);

/// Shorthands for handlers: of the exception being handled (`catch (...)`).
ErrorDescription describeCurrentError();
QString localizedDescriptionOfCurrentError();

} // namespace tavro
