#pragma once

#include "Core/Errors.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace tavro {

class Notifier;
class Workspace;

/// Desktop notifications to the user.
class Notices {
public:
    /// Both arguments outlive the object.
    Notices(Notifier& notifier, Workspace& workspace);

    void beginFailed(const ErrorDescription& error);
    /// Too few bytes are free in `folder` to begin a take, or to go on with it: then it is finished and
    /// whole.
    void tooFullToBegin(std::uintmax_t free, const std::filesystem::path& folder);
    void finishedByFullDisk(std::uintmax_t free, const std::filesystem::path& folder);
    /// Writing failed during a take; the part recorded so far is kept.
    void writingFailed(const ErrorDescription& error);
    /// The old take is deleted and no new take runs.
    void restartFailed(const ErrorDescription& error);
    /// `kept`: the take's file, when there is one.
    void finishFailed(const ErrorDescription& error, const std::optional<std::filesystem::path>& kept);
    /// The uploaded or saved video lacks the narration, which is in `sound`.
    void narrationLeft(const std::filesystem::path& sound);
    void deleteFailed(const ErrorDescription& error);
    void savedLocally(const std::filesystem::path& video);
    void neverUploaded(const std::vector<std::filesystem::path>& recordings); ///< not empty
    void noTray();

private:
    void tell(const QString& summary, const QString& body, bool failure,
        const std::optional<std::filesystem::path>& folder = std::nullopt);

    Notifier& notifier;
    Workspace& workspace;
};

} // namespace tavro
