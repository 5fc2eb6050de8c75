#include "Platform/Media/AACEncoder.h"

#include "Platform/Media/LibavError.h"

#include <algorithm>

namespace tavro {

AACEncoder::AACEncoder(const AudioSettings& settings_) : settings(settings_) {}

TrackDescription AACEncoder::open() {
    const AVCodec* implementation = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!implementation)
        throw libav::error(AVERROR_ENCODER_NOT_FOUND);
    codec.reset(avcodec_alloc_context3(implementation));
    codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec->sample_rate = settings.sampleRate;
    av_channel_layout_default(&codec->ch_layout, settings.channels);
    codec->bit_rate = settings.bitRate;
    codec->time_base = {1, settings.sampleRate};
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    libav::check(avcodec_open2(codec.get(), implementation, nullptr));

    frame.reset(av_frame_alloc());
    frame->format = codec->sample_fmt;
    frame->sample_rate = codec->sample_rate;
    frame->nb_samples = codec->frame_size;
    libav::check(av_channel_layout_copy(&frame->ch_layout, &codec->ch_layout));
    libav::check(av_frame_get_buffer(frame.get(), 0));

    TrackDescription track;
    track.parameters.reset(avcodec_parameters_alloc());
    libav::check(avcodec_parameters_from_context(track.parameters.get(), codec.get()));
    track.timeBase = codec->time_base;
    return track;
}

void AACEncoder::encode(const TrackContent& content, const Output& output) {
    const auto& [samples, position] = std::get<TrackSamples>(content);
    const std::int64_t next = encoded + static_cast<std::int64_t>(waiting.size());
    for (std::int64_t gap = position - next; gap > 0; gap -= codec->frame_size) {
        waiting.insert(
            waiting.end(), static_cast<std::size_t>(std::min<std::int64_t>(gap, codec->frame_size)), 0.0F);
        encodeWholeFrames(output);
    }
    const auto known =
        std::clamp<std::int64_t>(next - position, 0, static_cast<std::int64_t>(samples.size()));
    std::transform(samples.begin() + known, samples.end(), std::back_inserter(waiting),
        [](TakeFormat::Sample sample) { return static_cast<float>(sample) / 32768.0F; });
    encodeWholeFrames(output);
}

void AACEncoder::encodeWholeFrames(const Output& output) {
    while (waiting.size() >= static_cast<std::size_t>(codec->frame_size))
        encodeFrame(codec->frame_size, output);
}

void AACEncoder::encodeFrame(int length, const Output& output) {
    libav::check(av_frame_make_writable(frame.get()));
    frame->nb_samples = length;
    frame->pts = encoded;
    std::copy_n(waiting.begin(), length, reinterpret_cast<float*>(frame->data[0]));
    waiting.erase(waiting.begin(), waiting.begin() + length);
    encoded += length;
    libav::check(avcodec_send_frame(codec.get(), frame.get()));
    receive(output);
}

void AACEncoder::drain(const Output& output) {
    if (!waiting.empty())
        encodeFrame(static_cast<int>(waiting.size()), output);
    libav::check(avcodec_send_frame(codec.get(), nullptr));
    receive(output);
}

void AACEncoder::receive(const Output& output) {
    for (;;) {
        libav::Packet packet(av_packet_alloc());
        const int received = avcodec_receive_packet(codec.get(), packet.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return;
        libav::check(received);
        output(std::move(packet));
    }
}

} // namespace tavro
