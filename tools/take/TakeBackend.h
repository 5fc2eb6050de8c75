#pragma once

#include "TakeOptions.h"

#include "Backend/BackendClient.h"

#include <functional>
#include <memory>

namespace tavro {

/// The backend of a take, and where its data can be found.
struct TakeBackend {
    struct Traces {
        std::optional<QString> video;
        std::optional<QString> events;
        std::optional<double> durationSeconds;
    };

    std::shared_ptr<BackendClient> client;
    std::function<QCoro::Task<Traces>(QString sessionId)> traces;

    /// The service from the options, else the local backend in the user's folder. Throws UsageError.
    static TakeBackend choose(const TakeOptions& options);
};

} // namespace tavro
