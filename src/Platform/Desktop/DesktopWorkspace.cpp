#include "Platform/Desktop/DesktopWorkspace.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

namespace tavro {

namespace {

bool startByItself(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    // Keeps a browser's messages out of this program's output.
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    return process.startDetached();
}

} // namespace

bool DesktopWorkspace::open(const QUrl& url) {
    // A text without a scheme could be read as a file name or an option.
    if (!url.isValid() || url.scheme().isEmpty())
        return false;
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    return !opener.isEmpty() && startByItself(opener, {url.toString(QUrl::FullyEncoded)});
}

bool DesktopWorkspace::openNewApplicationInstance() {
    return startByItself(QCoreApplication::applicationFilePath(), {});
}

} // namespace tavro
