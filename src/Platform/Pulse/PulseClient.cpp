#include "PulseClient.h"

#include "Core/Log.h"

#include <condition_variable>
#include <utility>

namespace tavro::pulse {

namespace {

using namespace std::chrono_literals;

// A machine that is busy, as one that begins a test often is, may keep its sound server from answering for a
// good part of a second; who gave up sooner would lose the whole take's narration.
constexpr auto answerPatience = 1s;
constexpr auto beginPatience = 250ms; // costs nothing: a stream that begins later is as good

// A value from the client's thread that may come too late.
template <class T>
class Awaited {
public:
    void set(T arrived) {
        {
            const std::lock_guard lock(mutex);
            value = std::move(arrived);
        }
        there.notify_one();
    }
    std::optional<T> wait(std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex);
        there.wait_for(lock, patience, [this] { return value.has_value(); });
        return value;
    }

private:
    std::mutex mutex;
    std::condition_variable there;
    std::optional<T> value;
};

} // namespace

PulseClient::PulseClient() {
    thread.sync([this] { connection = std::make_unique<PulseConnection>(thread); });
}

PulseClient::~PulseClient() {
    thread.sync([this] { connection.reset(); });
}

PulseClient::Answer PulseClient::find(DeviceRole role) {
    const auto answer = std::make_shared<Awaited<Answer>>();
    thread.post([this, role, answer] {
        connection->find(role, [answer](const RecordingDevice& device, int error) {
            answer->set({device, error});
        });
    });
    const auto found = answer->wait(answerPatience);
    if (!found)
        Log::info(QStringLiteral("sound: the server does not answer"));
    return found.value_or(Answer{{}, PA_ERR_TIMEOUT});
}

std::shared_ptr<PulseRecording> PulseClient::start(
    const PulseRecording::Description& description, SoundTimeline::Emit deliver, int& error) {
    const auto outcome = std::make_shared<Awaited<int>>();
    std::shared_ptr<PulseRecording> recording;
    thread.sync([&] {
        recording = std::make_shared<PulseRecording>(
            *connection, description, std::move(deliver), [outcome](int result) { outcome->set(result); });
    });
    error = outcome->wait(beginPatience).value_or(0);
    if (error != 0)
        stop(std::exchange(recording, nullptr));
    else
        thread.sync([&] { recording->setOrigin(PulseThread::Clock::now()); });
    return recording;
}

void PulseClient::stop(std::shared_ptr<PulseRecording> recording) {
    thread.sync([recording = std::move(recording)]() mutable {
        recording->finish();
        recording.reset();
    });
}

} // namespace tavro::pulse
