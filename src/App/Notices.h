#pragma once

#include "Core/Errors.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace tavro {

class Notifier;
class Workspace;

/// What the user is told in desktop notifications.
class Notices {
public:
    /// Both outlive the object.
    Notices(Notifier& notifier, Workspace& workspace);

    void beginFailed(const ErrorDescription& error);
    /// During a take, of which what was recorded so far is kept.
    void writingFailed(const ErrorDescription& error);
    /// The take that was to be replaced is gone, and no other runs.
    void restartFailed(const ErrorDescription& error);
    /// `kept`: the take's file, when there is one.
    void finishFailed(const ErrorDescription& error, const std::optional<std::filesystem::path>& kept);
    /// The video was uploaded, or saved, without the narration that lies in `sound`.
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
