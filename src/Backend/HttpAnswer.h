#pragma once

#include <QByteArray>
#include <QUrl>

namespace tavro {

struct HttpAnswer {
    int status = 0; ///< 0: no HTTP answer
    QUrl location;  ///< of a redirection
    QByteArray body;
    bool isSentAgain = false; ///< the request was written more than once

    bool isSuccess() const { return status >= 200 && status <= 299; }
};

} // namespace tavro
