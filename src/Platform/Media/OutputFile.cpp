#include "Platform/Media/OutputFile.h"

#include "Platform/Media/LibavError.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tavro {

namespace {
constexpr int bufferSize = 256 * 1024;
}

void OutputFile::FreeContext::operator()(AVIOContext* handle) const {
    av_freep(&handle->buffer);
    avio_context_free(&handle);
}

OutputFile::OutputFile(std::filesystem::path path) : location(std::move(path)) {
    descriptor = ::open(location.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        throw libav::systemError(errno);
    ::fchmod(descriptor, S_IRUSR | S_IWUSR); // an existing file may have been readable by others
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    // Up to libavformat 60 the bytes are not const.
    const auto writePacket = [](void* self, auto* bytes, int count) { return write(self, bytes, count); };
    context.reset(avio_alloc_context(buffer, bufferSize, 1, this, nullptr, writePacket, seek));
}

OutputFile::~OutputFile() {
    ::close(descriptor);
}

int OutputFile::write(void* self, const std::uint8_t* bytes, int count) {
    auto& file = *static_cast<OutputFile*>(self);
    int done = 0;
    while (file.failure == 0 && done < count) {
        const ssize_t step = ::write(file.descriptor, bytes + done, static_cast<std::size_t>(count - done));
        if (step > 0) {
            done += static_cast<int>(step);
            file.written += step;
        } else if (errno != EINTR) {
            file.failure = step == 0 ? ENOSPC : errno;
        }
    }
    return file.failure != 0 ? AVERROR(file.failure) : count;
}

std::int64_t OutputFile::seek(void* self, std::int64_t offset, int whence) {
    auto& file = *static_cast<OutputFile*>(self);
    if (whence == AVSEEK_SIZE) {
        struct stat status {};
        return ::fstat(file.descriptor, &status) == 0 ? status.st_size : AVERROR(errno);
    }
    const auto reached = ::lseek(file.descriptor, offset, whence & ~AVSEEK_FORCE);
    if (reached < 0)
        return AVERROR(errno);
    file.written = reached;
    return reached;
}

void OutputFile::flush() {
    avio_flush(context.get());
    if (failure != 0)
        throw libav::systemError(failure);
    libav::check(context->error);
}

void OutputFile::sync() {
    flush();
    if (::fsync(descriptor) != 0)
        throw libav::systemError(errno);
}

void OutputFile::startSync() {
    ::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE); // best effort, `sync` does the rest
}

void OutputFile::truncate(std::int64_t length) {
    if (::ftruncate(descriptor, length) == 0)
        written = ::lseek(descriptor, length, SEEK_SET);
}

} // namespace tavro
