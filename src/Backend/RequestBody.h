#pragma once

#include <QBuffer>
#include <QIODevice>

#include <filesystem>
#include <memory>

namespace tavro {

/// What a request sends: read once, from the front. The network stack would send a request a second time by
/// itself when the connection breaks; whether to try again is not its decision, so a body that has been
/// begun cannot be taken back to its start.
class RequestBody final : public QIODevice {
public:
    static std::unique_ptr<RequestBody> ofBytes(const QByteArray& bytes);
    /// Streams the file as it is read. Throws a PlatformError with the file's own error text.
    static std::unique_ptr<RequestBody> ofFile(const std::filesystem::path& path);

    qint64 size() const override { return source->size(); }
    bool seek(qint64 position) override { return position == pos(); }
    bool reset() override { return pos() == 0; }
    bool atEnd() const override { return source->atEnd(); }

protected:
    qint64 readData(char* data, qint64 most) override { return source->read(data, most); }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    explicit RequestBody(std::unique_ptr<QIODevice> source);

    std::unique_ptr<QIODevice> source;
};

} // namespace tavro
