#include "Auth/LocalCallbackServer.h"

#include <QStringDecoder>

#include <cstdint>
#include <cstdlib>

// Any input to the sign-in's callback port is either read or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (utf8.hasError())
        return 0;
    const auto code = tavro::LocalCallbackServer::extractCode(text);
    // The code is part of the input; percent-decoding only shortens it.
    if (code &&
        (!text.contains(u'?') || !text.contains(u'=') || code->toUtf8().size() > text.toUtf8().size()))
        std::abort();
    return 0;
}
