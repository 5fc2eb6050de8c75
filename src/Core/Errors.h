#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace tavro {

/// Base of every failure that this program raises. An error has a domain, a code within it and sometimes a
/// text for people. It travels as an exception, unchanged, to its handler.
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
    /// The log shows "Error Domain=D Code=1 "why"".
    Error(QString domain, int code, QString message);
    /// A named case without a text for people. The log shows `name`.
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

/// A failure of the platform layer or of a library below it, with the library's own message.
class PlatformError : public Error {
public:
    PlatformError(QString domain, int code, QString message = {})
        : Error(std::move(domain), code, std::move(message)) {}
};

/// The description of any caught exception, `Error` or not.
struct ErrorDescription {
    QString domain;
    int code = 0;
    QString localizedDescription; ///< for people; a generic sentence when the error has no message
    QString text;                 ///< full textual form, for the log
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
