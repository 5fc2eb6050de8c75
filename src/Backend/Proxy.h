#pragma once

#include <QNetworkProxy>
#include <QUrl>

namespace tavro {

/// The address's proxy by the application-wide settings (QNetworkProxyFactory). None for loopback.
QNetworkProxy proxyFor(QUrl url);

} // namespace tavro
