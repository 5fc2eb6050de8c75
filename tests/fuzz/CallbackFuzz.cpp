#include "Auth/LocalCallbackServer.h"

#include <QStringDecoder>

#include <cstdint>
#include <cstdlib>

// Whatever a client of the sign-in's callback port sends: it is read, or it is refused, and nothing else
// happens.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (utf8.hasError())
        return 0;
    const auto code = tavro::LocalCallbackServer::extractCode(text);
    // No code comes from nowhere: percent-decoding only makes it shorter.
    if (code &&
        (!text.contains(u'?') || !text.contains(u'=') || code->toUtf8().size() > text.toUtf8().size()))
        std::abort();
    return 0;
}
