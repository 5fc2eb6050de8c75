#pragma once

#include "Platform/Media/LibavHandles.h"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tavro {

/// A file readable only by its owner. Writes nothing after a failed write. One thread at a time.
class OutputFile {
public:
    /// Creates or empties the file. Throws PlatformError.
    explicit OutputFile(std::filesystem::path path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::filesystem::path& path() const { return location; }
    AVIOContext* io() const { return context.get(); }

    /// Writes the buffer. Throws PlatformError when this or an earlier write failed.
    void flush();
    void sync();                                      ///< to the disk. Throws PlatformError.
    void startSync();                                 ///< begins it for what has left the buffer
    std::int64_t position() const { return written; } ///< of the next byte, after a flush
    void truncate(std::int64_t length);               ///< best effort

private:
    struct FreeContext {
        void operator()(AVIOContext* handle) const;
    };
    static int write(void* self, const std::uint8_t* bytes, int count);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    const std::filesystem::path location;
    int descriptor = -1;
    std::int64_t written = 0;
    int failure = 0; // errno of the first write that failed
    std::unique_ptr<AVIOContext, FreeContext> context;
};

} // namespace tavro
