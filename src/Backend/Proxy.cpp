#include "Backend/Proxy.h"

namespace tavro {

QNetworkProxy proxyFor(QUrl url) {
    // Proxy settings have no entry for WebSockets, which begin as HTTP.
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
