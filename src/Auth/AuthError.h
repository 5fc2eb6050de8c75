#pragma once

#include "Core/Errors.h"

#include <functional>

namespace tavro {

/// A sign-in failed; the log has the reason.
class AuthError final : public Error {
public:
    enum class Case { failed };
    explicit AuthError(Case which)
        : Error(QStringLiteral("Tavro.AuthError"), static_cast<int>(which), Named{QStringLiteral("failed")}) {
    }
    Case which() const { return static_cast<Case>(code()); }
    bool operator==(const AuthError& other) const { return which() == other.which(); }
};

} // namespace tavro

template <>
struct std::hash<tavro::AuthError> {
    std::size_t operator()(const tavro::AuthError& error) const {
        return std::hash<tavro::AuthError::Case>()(error.which());
    }
};
