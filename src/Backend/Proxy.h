#pragma once

#include <QNetworkProxy>
#include <QUrl>

namespace tavro {

/// The proxy that the application-wide settings (QNetworkProxyFactory) name for the address, or none.
/// Loopback addresses are never proxied.
QNetworkProxy proxyFor(QUrl url);

} // namespace tavro
