#pragma once

#include <QIODevice>

#include <algorithm>
#include <cstring>

namespace tavro {

/// The bytes of a request, read once from the front. A started body cannot seek back, so the network stack
/// does not repeat the request by itself after a broken connection.
class RequestBody final : public QIODevice {
public:
    explicit RequestBody(QByteArray content) : bytes(std::move(content)) {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    qint64 size() const override { return bytes.size(); }
    bool seek(qint64 position) override { return position == pos(); }
    bool reset() override { return pos() == 0; }

protected:
    qint64 readData(char* data, qint64 most) override {
        const qint64 length = std::min<qint64>(most, bytes.size() - taken);
        std::memcpy(data, bytes.constData() + taken, static_cast<std::size_t>(length));
        taken += length;
        return length;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    const QByteArray bytes;
    qint64 taken = 0;
};

} // namespace tavro
