#include "Auth/LocalCallbackServer.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tavro {
namespace {

struct Case {
    const char* request;
    std::optional<QString> code;
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
    return out << c.request;
}

class CallbackRequest : public testing::TestWithParam<Case> {};

TEST_P(CallbackRequest, yieldsItsCode) {
    EXPECT_EQ(LocalCallbackServer::extractCode(QString::fromUtf8(GetParam().request)), GetParam().code);
}

const std::optional<QString> none;

INSTANTIATE_TEST_SUITE_P(Requests, CallbackRequest,
    testing::Values(Case{"GET /?code=abc HTTP/1.1\r\nHost: localhost\r\nAccept: */*\r\n\r\n", u"abc"_qs},
        Case{"POST /anything?x=1&code=abc HTTP/1.1\r\n\r\n", u"abc"_qs},
        Case{"GET /callback?code=abc&state=x HTTP/1.1\r\n", u"abc"_qs},
        Case{"GET /?code=one&code=two HTTP/1.1", u"one"_qs}, Case{"GET /?code=a%20b HTTP/1.1", u"a b"_qs},
        Case{"GET /?code=a+b HTTP/1.1", u"a+b"_qs}, Case{"GET /?code=a%26b%3Dc HTTP/1.1", u"a&b=c"_qs},
        Case{"GET /?code=a=b==&x HTTP/1.1", u"a=b=="_qs},
        Case{"GET /?code=%C3%A4%E2%80%94 HTTP/1.1", u"ä—"_qs}, Case{"GET /?c%6Fde=abc HTTP/1.1", u"abc"_qs},
        Case{"GET /?code= HTTP/1.1", u""_qs}, Case{"\r\n\r\nGET   /?code=abc   HTTP/1.1", u"abc"_qs},
        Case{"GET /?code=abc", u"abc"_qs}, Case{"GET /?code=abc#code=def HTTP/1.1", u"abc"_qs},
        Case{"GET /?a?b&code=abc HTTP/1.1", u"abc"_qs}, Case{"GET /?code HTTP/1.1", none},
        Case{"GET /?code&code=abc HTTP/1.1", none}, Case{"GET /?Code=abc HTTP/1.1", none},
        Case{"GET /?xcode=abc HTTP/1.1", none}, Case{"GET /?x=code=abc HTTP/1.1", none},
        Case{"GET / HTTP/1.1", none}, Case{"GET /code=abc HTTP/1.1", none},
        Case{"GET /#?code=abc HTTP/1.1", none}, Case{"GET /? HTTP/1.1", none}, Case{"GET", none},
        Case{"GET \r\n/?code=abc", none}, Case{"GET / HTTP/1.1\r\n/?code=abc /?code=abc", none},
        Case{"GET :x/?code=abc HTTP/1.1", none}, Case{"GET /?code=%zz HTTP/1.1", none},
        Case{"GET /?code=%FF HTTP/1.1", none}, Case{"", none}, Case{"\r\n\r\n\r\n", none}, Case{"  ", none}));

} // namespace
} // namespace tavro
