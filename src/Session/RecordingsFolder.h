#pragma once

#include <QString>

#include <filesystem>
#include <vector>

namespace tavro {

/// The folder in which takes are recorded, readable by its user alone, and the names of a session's files in
/// it. The sound of a take lies beside its video, with the extension m4a. A mark beside them says that the
/// session was uploaded: its files have served their purpose, but for sound that was not joined to the
/// picture.
class RecordingsFolder {
public:
    /// Creates the folder with its parents; a failure shows when a take is recorded into it.
    explicit RecordingsFolder(std::filesystem::path path);

    std::filesystem::path video(const QString& sessionId) const;
    std::filesystem::path muxed(const QString& sessionId) const;

    void markUploaded(const QString& sessionId) const;

    void removeUploaded() const; ///< the files of sessions that were

    /// To be called once at the program's start: removes those, and what an interrupted rewrite left. What
    /// was never uploaded is kept and named in the log. Returns one file of each such recording, the most
    /// complete one, in alphabetical order.
    std::vector<std::filesystem::path> tidy() const;

private:
    std::filesystem::path file(const QString& sessionId, const char* suffix) const;

    std::filesystem::path folder;
};

} // namespace tavro
