#include "Core/Errors.h"

#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace tavro {

Error::Error(QString domain, int code, QString message, Cause cause)
    : errorDomain(std::move(domain))
    , errorCode(code)
    , errorMessage(std::move(message))
    , errorCause(cause)
    , logText(QStringLiteral("Error Domain=%1 Code=%2").arg(errorDomain).arg(errorCode).toUtf8()) {
    if (!errorMessage.isEmpty())
        logText += " \"" + errorMessage.toUtf8() + '"';
}

Error::Error(QString domain, int code, const Named& named, Cause cause)
    : errorDomain(std::move(domain))
    , errorCode(code)
    , errorCause(cause)
    , logText(named.name.toUtf8()) {}

Cause causeOfErrno(int errorNumber) {
    const bool isFull = errorNumber == ENOSPC || errorNumber == EDQUOT;
    return {isFull ? Cause::diskFull : Cause::other};
}

namespace {

QString orGeneric(const QString& message, const QString& domain, int code) {
    if (!message.isEmpty())
        return message;
    return QStringLiteral("The operation couldn’t be completed. (%1 error %2.)").arg(domain).arg(code);
}

} // namespace

ErrorDescription describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const Error& e) {
        return {e.domain(), e.code(), orGeneric(e.message(), e.domain(), e.code()), e.text(), e.message(),
            e.cause()};
    } catch (const std::system_error& e) {
        const QString domain = QString::fromLatin1(e.code().category().name());
        const QString message = QString::fromLocal8Bit(e.what());
        return {domain, e.code().value(), message, message, QString::fromStdString(e.code().message()),
            causeOfErrno(e.code().value())};
    } catch (const std::bad_alloc& e) {
        const QString message = QString::fromLatin1(e.what());
        return {QStringLiteral("std::exception"), 0, message, message, {}, {Cause::memoryFull}};
    } catch (const std::exception& e) {
        const QString message = QString::fromLocal8Bit(e.what());
        return {QStringLiteral("std::exception"), 0, message, message};
    } catch (...) {
        const QString domain = QStringLiteral("unknown");
        return {domain, 0, orGeneric({}, domain, 0), QStringLiteral("unknown error")};
    }
}

} // namespace tavro
