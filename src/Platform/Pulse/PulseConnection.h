#pragma once

#include "PulseThread.h"

#include <list>
#include <memory>
#include <string>

namespace tavro::pulse {

struct RecordingDevice {
    std::string name;
    pa_sample_spec spec{};
    pa_channel_map map{};
};

enum class DeviceRole {
    microphone,  ///< the default source, unless it is a monitor: servers choose one without a microphone
    systemSound, ///< the monitor of the default sink
};

/// The connection to the sound server, made anew when it breaks; exists while it is held or a query is open.
/// On the `PulseThread` only.
class PulseConnection {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void connected() = 0;
        virtual void disconnected(int error) = 0; ///< the library's code; a new attempt follows
        virtual void devicesChanged() = 0;        ///< a device came, went or became the default
    };

    /// `error` is 0, or the library's code; PA_ERR_NOENTITY when the server has no such device.
    using Found = std::function<void(const RecordingDevice& device, int error)>;

    explicit PulseConnection(PulseThread& thread);
    ~PulseConnection();

    void hold(Listener& listener); ///< connects when there is no connection yet
    void release(Listener& listener);

    /// Calls `found` once: on the answer or when the connection ends, after half a minute of silence at most.
    void find(DeviceRole role, Found found);

    bool isReady() const;
    pa_context* handle() const { return context.get(); }
    PulseThread& owner() const { return thread; }

private:
    struct Query;
    struct Callbacks;

    void connect();
    void ready();
    void lost();
    void retry();
    void disconnect();
    void disconnectWhenUnused();
    void startQueries();
    void ask(Query& query);
    void answer(Query& query, const RecordingDevice& device, int error);
    void failQueries(int error);
    void tell(const std::function<void(Listener&)>& what);
    void noticeChange();

    PulseThread& thread;
    Context context;
    std::list<Listener*> listeners;
    std::list<std::unique_ptr<Query>> queries;
    bool changeNoted = false;
    std::chrono::milliseconds backOff;
    std::shared_ptr<int> attempt =
        std::make_shared<int>(0); // delayed work of an earlier attempt does nothing
};

} // namespace tavro::pulse
