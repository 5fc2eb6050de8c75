#include "Backend/Proxy.h"

namespace tavro {

QNetworkProxy proxyFor(QUrl url) {
    // Settings know no WebSockets, only the HTTP that they begin with.
    if (url.scheme() == QLatin1String("ws"))
        url.setScheme(QStringLiteral("http"));
    else if (url.scheme() == QLatin1String("wss"))
        url.setScheme(QStringLiteral("https"));
    for (const QNetworkProxy& proxy : QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url)))
        if (proxy.capabilities() & QNetworkProxy::TunnelingCapability)
            return proxy;
    return QNetworkProxy(QNetworkProxy::NoProxy);
}

} // namespace tavro
