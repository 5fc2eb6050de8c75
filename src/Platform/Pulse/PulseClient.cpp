#include "PulseClient.h"

#include "Core/Log.h"

#include <utility>

namespace tavro::pulse {

namespace {
constexpr std::chrono::seconds usualAnswer{1}; // without an answer by then, a line is logged
} // namespace

PulseClient::PulseClient() {
    thread.sync([this] {
        connection = std::make_unique<PulseConnection>(thread);
        inquiry = std::make_unique<PulseConnection>(thread);
    });
}

PulseClient::~PulseClient() {
    thread.sync([this] {
        inquiry.reset();
        connection.reset();
    });
}

Promise<PulseClient::Answer> PulseClient::find(DeviceRole role) {
    Promise<Answer> answer;
    thread.post([this, role, answer] {
        const auto answered = std::make_shared<bool>(false);
        connection->find(role, [answer, answered](const RecordingDevice& device, int error) {
            *answered = true;
            answer.resolve(Answer{device, error});
        });
        thread.after(usualAnswer, [answered] {
            if (!*answered)
                Log::info(QStringLiteral("sound: the server does not answer"));
        });
    });
    return answer;
}

std::shared_ptr<PulseRecording> PulseClient::start(
    const PulseRecording::Description& description, SoundTimeline::Emit deliver) {
    auto recording = std::make_shared<PulseRecording>(*connection, *inquiry, description, std::move(deliver));
    thread.post([recording] { recording->begin(); });
    return recording;
}

void PulseClient::stop(std::shared_ptr<PulseRecording> recording) {
    thread.sync([&] { recording->finish(); });
}

} // namespace tavro::pulse
