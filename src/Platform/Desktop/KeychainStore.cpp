#include "Platform/Desktop/KeychainStore.h"

#include "Core/Log.h"
#include "Platform/Desktop/DBusCall.h"

#include <libsecret/secret.h>
#include <qt6keychain/keychain.h>

#include <QFile>
#include <QPointer>

#include <memory>
#include <utility>

namespace tavro {

namespace {

/// Opens the connection that libsecret uses. By default glib would end the process with the bus.
bool connectToBus() {
    // Where no address is known, glib would start a bus for nobody but this program.
    const bool isKnown = qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
                         QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
    static const std::unique_ptr<GDBusConnection, decltype(&g_object_unref)> bus(
        isKnown ? g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr) : nullptr, &g_object_unref);
    if (bus)
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return bus != nullptr;
}

/// Each operation ends its session: libsecret does not cope with a service that is restarted during one.
void start(QKeychain::Job* job, const QString& account) {
    QObject::connect(job, &QKeychain::Job::finished, &secret_service_disconnect);
    job->setKey(account);
    job->start();
}

/// By these attributes version 0.1 knew its items. QtKeychain uses others and does not find them.
const SecretSchema* schemaOf01() {
    static const std::unique_ptr<SecretSchema, decltype(&secret_schema_unref)> schema(
        secret_schema_new("com.quembridge.tavro", SECRET_SCHEMA_DONT_MATCH_NAME, "service",
            SECRET_SCHEMA_ATTRIBUTE_STRING, "account", SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr),
        &secret_schema_unref);
    return schema.get();
}

void readFrom01(const QString& service, const QString& account, SecretStore::Reader reader) {
    const auto finish = [](GObject*, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<SecretStore::Reader> waiting(static_cast<SecretStore::Reader*>(data));
        const std::unique_ptr<gchar, decltype(&secret_password_free)> text(
            secret_password_lookup_finish(result, nullptr), &secret_password_free);
        secret_service_disconnect();
        (*waiting)(text ? std::optional(QByteArray(text.get())) : std::nullopt);
    };
    secret_password_lookup(schemaOf01(), nullptr, finish, new SecretStore::Reader(std::move(reader)),
        "service", service.toUtf8().constData(), "account", account.toUtf8().constData(), nullptr);
}

PlatformError errorOf(const QKeychain::Job& job) {
    const bool isLocked = job.error() == QKeychain::AccessDenied;
    return PlatformError(QStringLiteral("QtKeychain"), job.error(), job.errorString(),
        {isLocked ? Cause::keyringLocked : Cause::keyringRefused});
}

} // namespace

void KeychainStore::read(const QString& service, const QString& account, Reader reader) {
    findKeychain([=, this](bool isThere) {
        const auto kept = file.read(service, account); // something only until the keychain has it
        if (isThere && !kept)
            return readFromKeychain(service, account, reader);
        if (isThere)
            writeToKeychain(service, account, kept);
        reader(kept);
    });
}

void KeychainStore::write(const QString& service, const QString& account, std::optional<QByteArray> value) {
    isWritten = true;
    findKeychain([=, this](bool isThere) {
        if (isThere)
            writeToKeychain(service, account, value);
        else if (!file.write(service, account, value) && value)
            tellNotStored(account, PlatformError(QStringLiteral("Tavro.Secrets"), 1,
                                       QStringLiteral("There is no keyring, and the file in its place "
                                                      "cannot be written.")));
    });
}

void KeychainStore::readFromKeychain(const QString& service, const QString& account, const Reader& reader) {
    auto* job = new QKeychain::ReadPasswordJob(service);
    connect(job, &QKeychain::Job::finished, this, [=, this] {
        if (job->error() == QKeychain::NoError)
            return reader(job->binaryData());
        readFrom01(service, account, [=, self = QPointer(this)](const auto& value) {
            if (!self)
                return;
            if (value && !self->isWritten)
                self->writeToKeychain(service, account, value);
            reader(value);
        });
    });
    start(job, account);
}

void KeychainStore::writeToKeychain(
    const QString& service, const QString& account, const std::optional<QByteArray>& value) {
    QKeychain::Job* job = nullptr;
    if (value) {
        auto* writing = new QKeychain::WritePasswordJob(service);
        writing->setTextData(QString::fromUtf8(*value));
        job = writing;
    } else {
        start(new QKeychain::ReadPasswordJob(service), account); // unlocks what a removal would pass over
        job = new QKeychain::DeletePasswordJob(service);
    }
    connect(job, &QKeychain::Job::finished, this, [=, this, isValue = value.has_value()] {
        if (isValue && job->error() != QKeychain::NoError)
            return tellNotStored(account, errorOf(*job));
        file.write(service, account, std::nullopt);
        const auto finish = [](GObject*, GAsyncResult*, gpointer) { secret_service_disconnect(); };
        secret_password_clear(schemaOf01(), nullptr, finish, nullptr, "service", service.toUtf8().constData(),
            "account", account.toUtf8().constData(), nullptr);
    });
    start(job, account);
}

void KeychainStore::onNotStored(std::function<void(std::exception_ptr)> handler) {
    notStored = std::move(handler);
}

void KeychainStore::tellNotStored(const QString& account, const PlatformError& reason) const {
    const bool isLocked = reason.cause().kind == Cause::keyringLocked;
    Log::error(
        QStringLiteral("secrets: %1 was not stored").arg(account) +
        (isLocked ? QStringLiteral(", the keyring stayed locked") : QStringLiteral(": ") + reason.text()));
    notStored(std::make_exception_ptr(reason));
}

/// On KDE it is KWallet, when that answers. QtKeychain asks it again, and blocks until it answers.
void KeychainStore::findKeychain(const std::function<void(bool isThere)>& then) {
    if (!connectToBus())
        return then(false);
    const auto bus = QDBusConnection::sessionBus();
    const auto findSecretService = [=, this](const QDBusMessage& wallet) {
        if (dbus::succeeded(wallet))
            return then(true);
        const dbus::Peer service{QStringLiteral("org.freedesktop.secrets"), QStringLiteral("/"),
            QStringLiteral("org.freedesktop.DBus.Peer")};
        dbus::send(bus, service.call(QStringLiteral("Ping")), this, [then](const QDBusMessage& reply) {
            const bool hangs = QDBusError(reply).type() == QDBusError::NoReply;
            then(hangs || dbus::succeeded(reply));
        });
    };
    if (qgetenv("XDG_CURRENT_DESKTOP") != "KDE" && !qEnvironmentVariableIsSet("KDE_FULL_SESSION"))
        return findSecretService({});
    const dbus::Peer wallet{QStringLiteral("org.kde.kwalletd5"), QStringLiteral("/modules/kwalletd5"),
        QStringLiteral("org.kde.KWallet")};
    dbus::send(bus, wallet.call(QStringLiteral("networkWallet")), this, findSecretService);
}

} // namespace tavro
