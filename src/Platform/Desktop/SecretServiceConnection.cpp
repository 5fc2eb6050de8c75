#include "Platform/Desktop/SecretServiceConnection.h"

#include <libsecret/secret.h>

#include <atomic>
#include <unistd.h>
#include <utility>

namespace tavro {

namespace {

constexpr auto serviceName = "org.freedesktop.secrets";

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(SecretValue* value) const { secret_value_unref(value); }
    void operator()(GList* objects) const { g_list_free_full(objects, g_object_unref); }
    void operator()(char* text) const { g_free(text); }
};
template <class T>
using Ref = std::unique_ptr<T, Unref>;

// Receives the error of a call; null when there was none.
class ErrorSlot {
public:
    GError** operator&() { return &error; }
    explicit operator bool() const { return error != nullptr; }
    bool is(GQuark domain, int code) const { return g_error_matches(error, domain, code); }
    ErrorSlot() = default;
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;
    ~ErrorSlot() { g_clear_error(&error); }

private:
    GError* error = nullptr;
};

// The two attributes by which every client finds the item; it need not have been stored by this program.
const SecretSchema schema = {"com.quembridge.tavro", SECRET_SCHEMA_DONT_MATCH_NAME,
    {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING}, {"account", SECRET_SCHEMA_ATTRIBUTE_STRING}}, 0, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};

Ref<GHashTable> attributes(const SecretKey& key) {
    return Ref<GHashTable>(secret_attributes_build(&schema, "service", key.service.toUtf8().constData(),
        "account", key.account.toUtf8().constData(), nullptr));
}

// Looking for a bus where no address is known would start one, for nobody but this program.
bool busIsKnown() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           ::access((qgetenv("XDG_RUNTIME_DIR") + "/bus").constData(), F_OK) == 0;
}

} // namespace

class SecretServiceConnection::Glib {
public:
    const Ref<GMainContext> context{g_main_context_new()};
    Ref<GDBusConnection> bus;
    Ref<SecretService> service;
    Ref<char> serviceOwner; // the process that `service` has its session with
    bool startRefused = false;
    std::atomic<bool> abandoned = false;

    // Starts a call of the libraries and serves this thread's events until its result is there.
    template <class Start>
    Ref<GAsyncResult> await(const Start& start) {
        using Slot = std::shared_ptr<Ref<GAsyncResult>>; // shared with a call that may outlive the wait
        const Slot slot = std::make_shared<Ref<GAsyncResult>>();
        start(
            [](GObject*, GAsyncResult* arrived, gpointer data) {
                const std::unique_ptr<Slot> mine(static_cast<Slot*>(data));
                (*mine)->reset(G_ASYNC_RESULT(g_object_ref(arrived)));
            },
            new Slot(slot));
        while (!*slot) {
            if (abandoned)
                throw Abandoned();
            g_main_context_iteration(context.get(), TRUE);
        }
        return std::move(*slot);
    }

    bool connectToBus() {
        if (bus && !g_dbus_connection_is_closed(bus.get()))
            return true;
        disconnect();
        if (!busIsKnown())
            return false;
        const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
            g_bus_get(G_BUS_TYPE_SESSION, nullptr, ready, slot);
        });
        bus.reset(g_bus_get_finish(result.get(), nullptr));
        if (bus) // by default the program would end together with the bus
            g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        return bus != nullptr;
    }

    Ref<GVariant> askBus(const char* method, GVariant* arguments, GError** error) {
        const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
            g_dbus_connection_call(bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                "org.freedesktop.DBus", method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                ready, slot);
        });
        return Ref<GVariant>(g_dbus_connection_call_finish(bus.get(), result.get(), error));
    }

    // The process that serves secrets now, by its name on the bus; null when there is none.
    Ref<char> owner(GError** error) {
        const auto answer = askBus("GetNameOwner", g_variant_new("(s)", serviceName), error);
        char* name = nullptr;
        if (answer)
            g_variant_get(answer.get(), "(s)", &name);
        return Ref<char>(name);
    }

    // The sessions of a service end with its process: one that was restarted needs a new one.
    SecretService* session() {
        ErrorSlot error;
        auto now = connectToBus() ? owner(&error) : nullptr;
        if (!now)
            return nullptr;
        if (!service || g_strcmp0(now.get(), serviceOwner.get()) != 0) {
            service.reset();
            const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
                secret_service_open(
                    SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, nullptr, ready, slot);
            });
            service.reset(secret_service_open_finish(result.get(), nullptr));
            serviceOwner = std::move(now);
        }
        return service.get();
    }

    Ref<GList> search(const SecretKey& key, SecretSearchFlags flags, GError** error) {
        const auto wanted = attributes(key);
        const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
            secret_service_search(service.get(), &schema, wanted.get(), flags, nullptr, ready, slot);
        });
        return Ref<GList>(secret_service_search_finish(service.get(), result.get(), error));
    }

    // Waits until the user has given, or refused, the password.
    bool unlock(GList* items) {
        const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
            secret_service_unlock(service.get(), items, nullptr, ready, slot);
        });
        return secret_service_unlock_finish(service.get(), result.get(), nullptr, nullptr) > 0;
    }

    // Null when there is none yet.
    Ref<SecretCollection> defaultCollection() {
        const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
            secret_collection_for_alias(
                service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, ready, slot);
        });
        return Ref<SecretCollection>(secret_collection_for_alias_finish(result.get(), nullptr));
    }

    std::optional<QByteArray> load(SecretItem* item) {
        const auto result = await([&](GAsyncReadyCallback ready, gpointer slot) {
            secret_item_load_secret(item, nullptr, ready, slot);
        });
        if (!secret_item_load_secret_finish(item, result.get(), nullptr))
            return std::nullopt;
        const Ref<SecretValue> value(secret_item_get_secret(item));
        if (!value)
            return std::nullopt;
        gsize size = 0;
        const char* bytes = secret_value_get(value.get(), &size);
        return QByteArray(bytes, static_cast<qsizetype>(size));
    }

    void disconnect() {
        service.reset();
        serviceOwner.reset();
        bus.reset();
    }
};

SecretServiceConnection::SecretServiceConnection() : glib(std::make_unique<Glib>()) {}

SecretServiceConnection::~SecretServiceConnection() = default;

void SecretServiceConnection::attach() {
    g_main_context_push_thread_default(glib->context.get());
}

void SecretServiceConnection::detach() {
    glib->disconnect();
    while (g_main_context_iteration(glib->context.get(), FALSE))
        continue; // what the disconnection left to be done
    g_main_context_pop_thread_default(glib->context.get());
}

void SecretServiceConnection::waitForEvents() {
    g_main_context_iteration(glib->context.get(), TRUE);
}

void SecretServiceConnection::wake() {
    g_main_context_wakeup(glib->context.get());
}

void SecretServiceConnection::abandon() {
    glib->abandoned = true;
    wake();
}

SecretServiceConnection::Presence SecretServiceConnection::presence() {
    if (!glib->connectToBus())
        return Presence::absent;
    {
        ErrorSlot error;
        if (glib->owner(&error)) {
            glib->startRefused = false;
            return Presence::there;
        }
        if (!error.is(G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER))
            return Presence::unknown;
    }
    // Asked once: a start that fails can take half a minute to do so.
    if (glib->startRefused)
        return Presence::absent;
    ErrorSlot error;
    glib->askBus("StartServiceByName", g_variant_new("(su)", serviceName, 0U), &error);
    glib->startRefused = static_cast<bool>(error);
    return glib->startRefused ? Presence::absent : Presence::there;
}

bool SecretServiceConnection::prepare() {
    return presence() == Presence::there && glib->session();
}

SecretServiceConnection::Lookup SecretServiceConnection::lookup(const SecretKey& key, Locked locked) {
    if (!glib->session())
        return {};
    const auto found = glib->search(key, SECRET_SEARCH_NONE, nullptr);
    if (!found)
        return {};
    auto* const item = static_cast<SecretItem*>(found->data);
    if (secret_item_get_locked(item) && !(locked == Locked::askToUnlock && glib->unlock(found.get())))
        return {std::nullopt, true};
    return {glib->load(item), false};
}

SecretServiceConnection::Change SecretServiceConnection::store(
    const SecretKey& key, const QByteArray& value, Locked locked) {
    SecretService* const service = glib->session();
    if (!service)
        return Change::failed;
    const auto collection = glib->defaultCollection();
    if (collection && secret_collection_get_locked(collection.get())) {
        GList only{collection.get(), nullptr, nullptr};
        if (locked == Locked::leave || !glib->unlock(&only))
            return Change::locked;
    }
    const auto identity = attributes(key);
    const Ref<SecretValue> secret(secret_value_new(value.constData(), value.size(), "text/plain"));
    const QByteArray label = key.service.toUtf8();
    const auto result = glib->await([&](GAsyncReadyCallback ready, gpointer slot) {
        secret_service_store(service, &schema, identity.get(), SECRET_COLLECTION_DEFAULT, label.constData(),
            secret.get(), nullptr, ready, slot);
    });
    return secret_service_store_finish(service, result.get(), nullptr) ? Change::made : Change::failed;
}

SecretServiceConnection::Change SecretServiceConnection::clear(const SecretKey& key, Locked locked) {
    SecretService* const service = glib->session();
    if (!service)
        return Change::failed;
    ErrorSlot error;
    const auto found = glib->search(key, SECRET_SEARCH_ALL, &error);
    if (!found)
        return error ? Change::failed : Change::made;
    bool anyLocked = false;
    for (GList* entry = found.get(); entry; entry = entry->next)
        anyLocked = anyLocked || secret_item_get_locked(static_cast<SecretItem*>(entry->data));
    if (anyLocked && (locked == Locked::leave || !glib->unlock(found.get())))
        return Change::locked;
    const auto identity = attributes(key);
    const auto result = glib->await([&](GAsyncReadyCallback ready, gpointer slot) {
        secret_service_clear(service, &schema, identity.get(), nullptr, ready, slot);
    });
    ErrorSlot refused;
    secret_service_clear_finish(service, result.get(), &refused);
    return refused ? Change::failed : Change::made;
}

} // namespace tavro
