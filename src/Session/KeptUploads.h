#pragma once

#include "Backend/BackendClient.h"
#include "Session/CaptureController.h"

#include <memory>

namespace tavro {

/// Uploads recordings that were kept, one at a time and on a backend of its own. First makes whole what a
/// kill left in fragments. Leaves alone what a session, here or in another instance, is still using. Main
/// thread.
class KeptUploads {
public:
    struct Outcome {
        QString sessionId;
        std::filesystem::path file;
        std::optional<ErrorDescription> failure; ///< absent: uploaded
    };
    struct Surroundings {
        /// Returns a new backend for the service in use.
        std::function<std::shared_ptr<BackendClient>()> connect;
        /// With the uploaded part of the current file, 0 to 1; absent once nothing is uploaded any more.
        std::function<void(std::optional<double>)> progress;
        /// All that was asked for is done.
        std::function<void(std::vector<Outcome>)> ended;
    };

    /// `muxer` outlives the object.
    KeptUploads(std::filesystem::path folder, TakeMuxer& muxer, Surroundings surroundings);
    ~KeptUploads();
    KeptUploads(const KeptUploads&) = delete;
    KeptUploads& operator=(const KeptUploads&) = delete;

    /// The sessions of that service whose recordings were kept, in use or not.
    std::vector<QString> belongingTo(const QString& service) const;
    /// Makes films of what a kill or a crash left in fragments. Call before the first session.
    void makeAllWhole();
    void upload(const std::vector<QString>& sessionIds);

    bool isWorking() const;
    /// Gives up the upload under way and what waits; the recordings stay. Completes when nothing is worked
    /// on.
    QCoro::Task<> giveUp();

private:
    struct State; // shared with the task under way

    const std::shared_ptr<State> state;
};

} // namespace tavro
