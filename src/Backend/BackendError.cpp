#include "Backend/BackendClient.h"

namespace tavro {

QString BackendError::domain() const {
    return QStringLiteral("Tavro.BackendError");
}

QString BackendError::text() const {
    return value == Case::notFound ? QStringLiteral("notFound") : QStringLiteral("notAuthenticated");
}

} // namespace tavro
