#pragma once

#include "PulseThread.h"

#include <list>
#include <memory>
#include <string>

namespace tavro::pulse {

/// A device that can be recorded.
struct RecordingDevice {
    std::string name;
    pa_sample_spec spec{};
    pa_channel_map map{};
};

enum class DeviceRole {
    microphone, ///< the default source; a monitor of a sink, which servers make the default where there is no
                ///< microphone, is none
    systemSound, ///< the monitor of the default sink
};

/// The connection to the sound server, kept as long as somebody holds it, made anew whenever it breaks.
/// Everything on the one `PulseThread`.
class PulseConnection {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void connected() = 0;
        virtual void disconnected(int error) = 0; ///< the library's code; a new attempt follows by itself
        virtual void devicesChanged() = 0;        ///< one came, went or became the default
    };

    /// `error` is 0, or the library's code; PA_ERR_NOENTITY when the server has no such device.
    using Found = std::function<void(const RecordingDevice& device, int error)>;

    explicit PulseConnection(PulseThread& thread);
    ~PulseConnection();

    void hold(Listener& listener); ///< connects when there is no connection yet
    void release(Listener& listener);

    /// Answers once: when the server does, or when the connection ends. The library ends one whose server has
    /// said nothing for half a minute.
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
