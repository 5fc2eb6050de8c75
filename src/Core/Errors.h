#pragma once

#include <QString>

#include <exception>

namespace tavro {

/// Base of every failure that this program raises itself.
/// An error has a domain (whose failure it is), a code within it and, sometimes, a text for people.
/// Failures travel as exceptions, unchanged, from where they arise to whoever handles them.
class Error : public std::exception {
public:
    virtual QString domain() const = 0;
    virtual int code() const = 0;
    /// Text for people; empty when the error has none of its own.
    virtual QString message() const { return {}; }
    /// The error as it reads inside a log line, e.g. "notFound".
    virtual QString text() const;
    const char* what() const noexcept override;

private:
    mutable QByteArray whatText;
};

/// A failure of the platform layer or of a library below it. `message` keeps the library's own words.
class PlatformError final : public Error {
public:
    PlatformError(QString domain, int code, QString message = {});
    QString domain() const override { return errorDomain; }
    int code() const override { return errorCode; }
    QString message() const override { return errorMessage; }

private:
    QString errorDomain;
    int errorCode;
    QString errorMessage;
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
