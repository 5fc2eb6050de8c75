#include "Platform/Media/Muxing.h"

#include "Platform/Media/LibavError.h"

namespace tavro::libav {

OutputContext makeMuxer(OutputFile& file, FileType type) {
    AVFormatContext* muxer = nullptr;
    // The muxer reads its file by this name to move the index to the front.
    const std::string url = "file:" + file.path().string();
    const char* format = type == FileType::appleM4A ? "ipod" : "mp4";
    check(avformat_alloc_output_context2(&muxer, nullptr, format, url.c_str()));
    muxer->pb = file.io();
    muxer->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT; // no library names in the file
    muxer->avoid_negative_ts = 0; // the edit list covers encoder delay before zero
    return OutputContext(muxer);
}

AVStream* addTrack(AVFormatContext& muxer, const AVCodecParameters& parameters, AVRational timeBase) {
    AVStream* stream = avformat_new_stream(&muxer, nullptr);
    if (!stream)
        throw error(AVERROR(ENOMEM));
    check(avcodec_parameters_copy(stream->codecpar, &parameters));
    stream->codecpar->codec_tag = 0; // the muxer chooses its own
    stream->time_base = timeBase;
    return stream;
}

void writeHeader(AVFormatContext& muxer, std::initializer_list<std::pair<const char*, const char*>> options) {
    AVDictionary* dictionary = nullptr;
    for (const auto& [key, value] : options)
        av_dict_set(&dictionary, key, value, 0);
    const int written = avformat_write_header(&muxer, &dictionary);
    av_dict_free(&dictionary);
    check(written);
}

} // namespace tavro::libav
