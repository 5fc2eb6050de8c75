#include "Backend/RequestBody.h"

#include "Core/Errors.h"

#include <QFile>

namespace tavro {

RequestBody::RequestBody(std::unique_ptr<QIODevice> device) : source(std::move(device)) {
    // The source is read straight into the reader's buffer.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

std::unique_ptr<RequestBody> RequestBody::ofBytes(const QByteArray& bytes) {
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(bytes);
    buffer->open(QIODevice::ReadOnly);
    return std::unique_ptr<RequestBody>(new RequestBody(std::move(buffer)));
}

std::unique_ptr<RequestBody> RequestBody::ofFile(const std::filesystem::path& path) {
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw PlatformError(QStringLiteral("QFile"), file->error(), file->errorString());
    return std::unique_ptr<RequestBody>(new RequestBody(std::move(file)));
}

} // namespace tavro
