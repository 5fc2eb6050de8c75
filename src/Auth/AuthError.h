#pragma once

#include "Core/Errors.h"

#include <functional>

namespace tavro {

/// A sign-in that failed; why, the log tells.
class AuthError final : public Error {
public:
    enum class Case { failed };
    explicit AuthError(Case which) : value(which) {}
    Case which() const { return value; }
    QString domain() const override;
    int code() const override { return static_cast<int>(value); }
    QString text() const override; ///< the case's name
    bool operator==(const AuthError& other) const { return value == other.value; }

private:
    Case value;
};

} // namespace tavro

template <>
struct std::hash<tavro::AuthError> {
    std::size_t operator()(const tavro::AuthError& error) const {
        return std::hash<tavro::AuthError::Case>()(error.which());
    }
};
