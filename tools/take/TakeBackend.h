#pragma once

#include "TakeOptions.h"

#include "Backend/BackendClient.h"

#include <functional>
#include <memory>

namespace tavro {

/// The backend that a take talks to, and where what it was given can be found.
struct TakeBackend {
    struct Traces {
        std::optional<QString> video;
        std::optional<QString> events;
        std::optional<double> durationSeconds;
    };

    std::shared_ptr<BackendClient> client;
    std::function<QCoro::Task<Traces>(QString sessionId)> traces;

    /// The service that is asked for, else the local backend in the user's own folder. Throws UsageError.
    static TakeBackend choose(const TakeOptions& options);
};

} // namespace tavro
