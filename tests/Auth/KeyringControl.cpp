#include "KeyringControl.h"

#include "support/Programs.h"
#include "support/TestSupport.h"

#include <csignal>

namespace tavro::test::keyring {

namespace {

const QString keyringPath = QStringLiteral("/org/freedesktop/secrets/collection/login");

void desktop(const char* verb) {
    // The keyring's files are in the desktop's folder, not in this test's home.
    const ScopedEnvironment data("XDG_DATA_HOME", qgetenv("TAVRO_DESKTOP") + "/data");
    const QStringList arguments{
        QStringLiteral(TAVRO_DESKTOP_SCRIPT), QString::fromLatin1(verb), QStringLiteral("keyring")};
    outputOf(QStringLiteral("/usr/bin/python3"), arguments);
}

void callService(const QString& path, const QString& method, const QStringList& arguments = {}) {
    callBus(u"org.freedesktop.secrets"_qs, path, method, arguments);
}

} // namespace

QByteArray callBus(
    const QString& destination, const QString& path, const QString& method, const QStringList& arguments) {
    const QStringList call{
        u"call"_qs, u"--session"_qs, u"-d"_qs, destination, u"-o"_qs, path, u"-m"_qs, method};
    return outputOf(u"gdbus"_qs, call + arguments);
}

std::optional<QByteArray> lookedUp(const QStringList& attributes) {
    const auto lookup = run(u"secret-tool"_qs, QStringList(u"lookup"_qs) + attributes);
    return lookup.exitCode == 0 ? std::optional(lookup.output) : std::nullopt;
}

bool store(const QByteArray& value, const QStringList& attributes) {
    return run(u"secret-tool"_qs, QStringList{u"store"_qs, u"--label=x"_qs} + attributes, value).exitCode ==
           0;
}

void stop() {
    desktop("--stop");
}

void start() {
    desktop("--start");
}

void lock() {
    callService(u"/org/freedesktop/secrets"_qs, u"org.freedesktop.Secret.Service.Lock"_qs,
        {u"['%1']"_qs.arg(keyringPath)});
}

void remove() {
    callService(keyringPath, u"org.freedesktop.Secret.Collection.Delete"_qs);
}

void signal(int number) {
    const auto pid = readFile((qgetenv("TAVRO_DESKTOP") + "/keyring.pid").toStdString()).simplified().toInt();
    ASSERT_GT(pid, 0);
    ::kill(pid, number);
}

} // namespace tavro::test::keyring
