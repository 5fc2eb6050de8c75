#include "PulseConnection.h"

#include <algorithm>
#include <utility>

namespace tavro::pulse {

namespace {

using namespace std::chrono_literals;

constexpr auto firstBackOff = 50ms;
constexpr auto longestBackOff = 400ms; // a server that returns is found within half a second
constexpr auto settleTime = 30ms;      // one change of devices makes a burst of events

} // namespace

struct PulseConnection::Query {
    PulseConnection& connection;
    DeviceRole role;
    Found found;
    bool asked = false;
};

struct PulseConnection::Callbacks {
    static void state(pa_context* context, void* self) {
        auto& connection = *static_cast<PulseConnection*>(self);
        const pa_context_state_t state = pa_context_get_state(context);
        if (state == PA_CONTEXT_READY)
            connection.ready();
        else if (!PA_CONTEXT_IS_GOOD(state))
            connection.lost();
    }

    static void event(pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
        static_cast<PulseConnection*>(self)->noticeChange();
    }

    static void server(pa_context* context, const pa_server_info* info, void* pointer) {
        auto& query = *static_cast<Query*>(pointer);
        const bool microphone = query.role == DeviceRole::microphone;
        const char* name = info == nullptr ? nullptr
                           : microphone    ? info->default_source_name
                                           : info->default_sink_name;
        if (name == nullptr || *name == '\0')
            return query.connection.answer(query, {}, PA_ERR_NOENTITY);
        // The sink names its monitor. On some servers @DEFAULT_MONITOR@ is the default source.
        const Operation operation(microphone
                                      ? pa_context_get_source_info_by_name(context, name, source, pointer)
                                      : pa_context_get_sink_info_by_name(context, name, sink, pointer));
        if (!operation)
            query.connection.answer(query, {}, pa_context_errno(context));
    }

    static void sink(pa_context*, const pa_sink_info* info, int end, void* pointer) {
        if (end > 0)
            return; // the item was the answer
        auto& query = *static_cast<Query*>(pointer);
        if (end < 0 || info == nullptr || info->monitor_source_name == nullptr)
            return query.connection.answer(query, {}, PA_ERR_NOENTITY);
        query.connection.answer(query, {info->monitor_source_name, info->sample_spec, info->channel_map}, 0);
    }

    static void source(pa_context*, const pa_source_info* info, int end, void* pointer) {
        if (end > 0)
            return;
        auto& query = *static_cast<Query*>(pointer);
        if (end < 0 || info == nullptr || info->monitor_of_sink != PA_INVALID_INDEX)
            return query.connection.answer(query, {}, PA_ERR_NOENTITY);
        query.connection.answer(query, {info->name, info->sample_spec, info->channel_map}, 0);
    }
};

PulseConnection::PulseConnection(PulseThread& owner) : thread(owner), backOff(firstBackOff) {}

PulseConnection::~PulseConnection() {
    disconnect();
    failQueries(PA_ERR_CONNECTIONTERMINATED);
}

void PulseConnection::hold(Listener& listener) {
    listeners.push_back(&listener);
    if (!context)
        connect();
}

void PulseConnection::release(Listener& listener) {
    listeners.remove(&listener);
    disconnectWhenUnused();
}

void PulseConnection::find(DeviceRole role, Found found) {
    queries.push_back(std::make_unique<Query>(Query{*this, role, std::move(found)}));
    if (!context)
        connect();
    else if (isReady())
        startQueries();
}

bool PulseConnection::isReady() const {
    return context && pa_context_get_state(context.get()) == PA_CONTEXT_READY;
}

void PulseConnection::connect() {
    ++*attempt;
    const Properties properties(pa_proplist_new());
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_NAME, "Tavro");
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_ID, "com.quembridge.tavro");
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_ICON_NAME, "tavro");
    context.reset(pa_context_new_with_proplist(thread.api(), "Tavro", properties.get()));
    if (!context)
        return lost();
    pa_context_set_state_callback(context.get(), Callbacks::state, this);
    // Never start a server: a user without one does not want it.
    if (pa_context_connect(context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        lost();
}

void PulseConnection::ready() {
    backOff = firstBackOff;
    pa_context_set_subscribe_callback(context.get(), Callbacks::event, this);
    const auto mask = PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE;
    const Operation operation(
        pa_context_subscribe(context.get(), static_cast<pa_subscription_mask_t>(mask), nullptr, nullptr));
    startQueries();
    tell([](Listener& listener) { listener.connected(); });
}

void PulseConnection::lost() {
    int error = context ? pa_context_errno(context.get()) : PA_ERR_INTERNAL;
    if (error == 0)
        error = PA_ERR_CONNECTIONTERMINATED;
    disconnect();
    tell([error](Listener& listener) { listener.disconnected(error); });
    failQueries(error);
    retry();
}

void PulseConnection::retry() {
    if (listeners.empty() || context)
        return;
    thread.after(backOff, [this, counter = std::weak_ptr(attempt), mine = *attempt] {
        const auto current = counter.lock();
        if (current && *current == mine && !context && !listeners.empty())
            connect();
    });
    backOff = std::min<std::chrono::milliseconds>(backOff * 2, longestBackOff);
}

void PulseConnection::disconnect() {
    ++*attempt;
    if (!context)
        return;
    pa_context_set_state_callback(context.get(), nullptr, nullptr);
    pa_context_set_subscribe_callback(context.get(), nullptr, nullptr);
    pa_context_disconnect(context.get());
    context.reset();
}

void PulseConnection::disconnectWhenUnused() {
    if (listeners.empty() && queries.empty())
        disconnect();
}

void PulseConnection::startQueries() {
    // An immediate answer removes its query from the list.
    std::vector<Query*> open;
    for (const auto& query : queries)
        if (!std::exchange(query->asked, true))
            open.push_back(query.get());
    for (Query* query : open)
        ask(*query);
}

void PulseConnection::ask(Query& query) {
    const Operation operation(pa_context_get_server_info(context.get(), Callbacks::server, &query));
    if (!operation)
        answer(query, {}, pa_context_errno(context.get()));
}

void PulseConnection::answer(Query& query, const RecordingDevice& device, int error) {
    const auto entry = std::ranges::find(queries, &query, [](const auto& each) { return each.get(); });
    const auto finished = std::move(*entry);
    queries.erase(entry);
    finished->found(device, error);
    // Not within the callback of the connection, and not at once: a recording usually follows a query.
    thread.after(1s, [this, counter = std::weak_ptr(attempt)] {
        if (counter.lock())
            disconnectWhenUnused();
    });
}

void PulseConnection::failQueries(int error) {
    for (const auto& query : std::exchange(queries, {}))
        query->found({}, error);
}

void PulseConnection::tell(const std::function<void(Listener&)>& what) {
    const auto present = listeners; // a listener may leave during the call
    for (Listener* listener : present)
        if (std::ranges::find(listeners, listener) != listeners.end())
            what(*listener);
}

void PulseConnection::noticeChange() {
    if (std::exchange(changeNoted, true))
        return;
    thread.after(settleTime, [this, counter = std::weak_ptr(attempt)] {
        if (!counter.lock())
            return;
        changeNoted = false;
        if (isReady())
            tell([](Listener& listener) { listener.devicesChanged(); });
    });
}

} // namespace tavro::pulse
