#include "support/TestSupport.h"

#include "Core/Log.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

namespace tavro::test {

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    if (condition())
        return true;
    QEventLoop loop;
    QTimer poll;
    QElapsedTimer elapsed;
    elapsed.start();
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition() || elapsed.hasExpired(deadline.count()))
            loop.quit();
    });
    poll.start(2);
    loop.exec();
    return condition();
}

ErrorDescription errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (...) {
        return describeCurrentError();
    }
    ADD_FAILURE() << "no error was thrown";
    return {};
}

IsolatedHome::IsolatedHome() {
    for (const char* variable :
        {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(variable, QByteArray::fromStdString((home.path() / variable).string()));
    qunsetenv("TMPDIR");
}

ScopedEnvironment::ScopedEnvironment(const char* variable, const QByteArray& value) : name(variable) {
    if (qEnvironmentVariableIsSet(name))
        before = qgetenv(name);
    qputenv(name, value);
}

ScopedEnvironment::~ScopedEnvironment() {
    if (before)
        qputenv(name, *before);
    else
        qunsetenv(name);
}

QByteArray readFile(const std::filesystem::path& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const std::filesystem::path& path, const QByteArray& bytes) {
    std::filesystem::create_directories(path.parent_path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.string());
}

LogLines::LogLines() : start(readFile(Log::url()).size()) {}

QStringList LogLines::all() const {
    return QString::fromUtf8(readFile(Log::url()).mid(start)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace tavro::test
