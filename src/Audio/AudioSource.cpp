#include "Audio/AudioSource.h"

#include "Core/Errors.h"

namespace tavro {

void AudioSource::Feed::take(const PCMBufferPtr& buffer) {
    if (!buffer)
        return;
    AudioFrame frame = converter.convert(buffer);
    if (!frame.empty() && onFrame)
        onFrame(std::move(frame));
}

std::shared_ptr<AudioSource::Feed> AudioSource::makeFeed(AudioConverterFactory& converters) const {
    return std::make_shared<Feed>(PCMConverter(converters), onFrame);
}

void AudioSource::throwIfStopped(const std::weak_ptr<int>& wanted) {
    if (wanted.expired())
        throw PlatformError(QStringLiteral("Tavro.Audio"), 3, QStringLiteral("Stopped before it ran"));
}

} // namespace tavro
