#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace tavro::libav {

template <auto Free>
struct FreeByAddress {
    template <class T>
    void operator()(T* handle) const {
        Free(&handle);
    }
};

using CodecContext = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using CodecParameters = std::unique_ptr<AVCodecParameters, FreeByAddress<avcodec_parameters_free>>;
using Frame = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using Resampler = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;
struct FreeOutput {
    void operator()(AVFormatContext* handle) const { avformat_free_context(handle); }
};
using OutputContext = std::unique_ptr<AVFormatContext, FreeOutput>;
using InputContext = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;

} // namespace tavro::libav
