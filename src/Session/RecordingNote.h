#pragma once

#include <QString>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QFile;

namespace tavro {

/// What it takes to upload a recording later.
struct KeptRecording {
    QString sessionId;
    QString service; ///< `BackendClient::address()` of the backend with the session
    std::optional<double> durationSeconds = {}; ///< from the finish on
    bool finishTold = false;                    ///< the service knows that the session is finished
    bool isWhole = false;                       ///< the take's file is not in fragments any more
    bool operator==(const KeptRecording&) const = default;
};

/// The file with a `KeptRecording`, beside the recording until that is uploaded or deleted. It is replaced as
/// a whole, and readable only by its user. As long as the object exists the file is locked: the recording is
/// in use. A kill ends the lock. Failures are logged; the recording goes on without its note.
class RecordingNote {
public:
    RecordingNote(std::filesystem::path file, KeptRecording recording);
    ~RecordingNote();
    RecordingNote(const RecordingNote&) = delete;
    RecordingNote& operator=(const RecordingNote&) = delete;

    void update(const std::function<void(KeptRecording&)>& change);
    void remove(); ///< with its lock

    static std::optional<KeptRecording> read(const std::filesystem::path& file);
    /// True while some program, this one included, uses the recording.
    static bool isHeld(const std::filesystem::path& file);
    static std::vector<KeptRecording> all(const std::filesystem::path& folder);

private:
    void write();

    const std::filesystem::path file;
    KeptRecording recording;
    std::unique_ptr<QFile> lock;
};

} // namespace tavro
