#pragma once

#include <QString>

/// What the system's parts are called where a text names them: in log lines, errors and windows. A port to
/// another system brings its own names.
namespace tavro::SystemNames {

inline const QString desktop = QStringLiteral("your desktop"); ///< applies a grant
inline const QString soundSettings = QStringLiteral("your desktop's sound settings");
inline const QString platform = QStringLiteral("platform"); ///< `SystemVersion` is its version
inline const QString recordingOutput = QStringLiteral("RecordingOutput");
inline const QString assetWriter = QStringLiteral("AssetWriter");
inline const QString audioStatus = QStringLiteral("AudioStatus");
inline const QString workspace = QStringLiteral("Workspace");
inline const QString listener = QStringLiteral("QTcpServer");

} // namespace tavro::SystemNames
