#pragma once

#include <QByteArray>

namespace tavro {

/// The whole answer to a browser that brings a code, or anything else: the status line, the headers and a
/// page that needs nothing from outside.
QByteArray confirmationResponse();

} // namespace tavro
