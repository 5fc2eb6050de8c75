#include "Auth/AuthError.h"

namespace tavro {

QString AuthError::domain() const {
    return QStringLiteral("Tavro.AuthError");
}

QString AuthError::text() const {
    return QStringLiteral("failed");
}

} // namespace tavro
