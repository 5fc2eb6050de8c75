#pragma once

#include <QString>

#include <cstdint>
#include <filesystem>
#include <vector>

namespace tavro {

/// The folder of recorded takes, readable only by its user, and the names of their files. A take's sound has
/// the extension m4a. A mark means that the session was uploaded: its files can be removed, except sound that
/// was not joined to the picture. Another user's folder, or a link, of that name is neither read nor changed.
class RecordingsFolder {
public:
    /// Creates the folder with its parents. A failure shows when a take is recorded into it.
    explicit RecordingsFolder(std::filesystem::path path);

    /// Call before a take. Throws PlatformError "Tavro.RecordingsFolder" 1, in words for the user, when the
    /// name is taken by something else than a folder of this user.
    void requireOwn() const;

    std::filesystem::path video(const QString& sessionId) const;
    std::filesystem::path muxed(const QString& sessionId) const;
    std::filesystem::path sound(const QString& sessionId) const;
    std::filesystem::path note(const QString& sessionId) const; ///< see RecordingNote.h

    /// Bytes of the take's picture and sound so far.
    std::uintmax_t size(const QString& sessionId) const;

    void markUploaded(const QString& sessionId) const;

    void removeUploaded() const; ///< the files of uploaded sessions

    /// Call once at the program's start. Removes the files of uploaded sessions and of interrupted rewrites.
    /// Logs and keeps the others; returns the most complete file of each recording, in alphabetical order.
    std::vector<std::filesystem::path> tidy() const;

private:
    std::filesystem::path file(const QString& sessionId, const char* suffix) const;
    QString obstacle() const; ///< empty for a folder of this user, which it makes private, and for none

    std::filesystem::path folder;
};

} // namespace tavro
