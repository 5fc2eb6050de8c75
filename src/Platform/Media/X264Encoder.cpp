#include "Platform/Media/X264Encoder.h"

#include "Platform/Media/LibavError.h"
#include "Platform/TakeFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

extern "C" {
#include <x264.h>
}

namespace tavro {

namespace {

using std::chrono::microseconds;
using namespace std::chrono_literals;

constexpr AVRational timeBase{1, std::micro::den};

void setColours(x264_param_t& parameters) {
    constexpr int bt709 = 1; // H.264's code for primaries, transfer and matrix
    parameters.vui.i_colorprim = bt709;
    parameters.vui.i_transfer = bt709;
    parameters.vui.i_colmatrix = bt709;
    parameters.vui.b_fullrange = 0;
    parameters.vui.i_chroma_loc = AVCHROMA_LOC_CENTER - 1; // H.264 counts from 0
}

// A frame is still when it changes less than 1/n of the blocks.
constexpr int stillKeyFramePart = 2, stillFramePart = 16;
// Frames at shorter intervals are fast.
constexpr microseconds fastInterval = 25ms;

// Coarser quantizers save five sixths of the byte rate above the limit, averaged over half a second.
constexpr double rateMemory = 0.5; // seconds
constexpr double quantizersPerHalving = 6, restraint = 5;

constexpr int hasteQuantizers = 6;   // coarser by this much in haste
constexpr double filmsLeastPart = 4; // a film ends below 1/n of the rate at which it begins

// The ratio of step sizes, which double every six quantizers.
float factor(int quantizers) {
    return static_cast<float>(std::exp2(quantizers / 6.0));
}

// Scrolling needs a wide search, and text is found again in small parts of blocks; films hardly gain from
// parts. Haste searches nearby only, but not in films: where that fails, in moving noise, it takes twice the
// time. The large transform saves a sixth of a film, and rings around letters.
void setTools(x264_param_t& parameters, bool forFilm, bool inHaste) {
    parameters.analyse.i_me_method = forFilm ? X264_ME_HEX : inHaste ? X264_ME_DIA : X264_ME_UMH;
    parameters.analyse.b_transform_8x8 = forFilm;
    parameters.analyse.inter =
        forFilm || inHaste ? 0 : X264_ANALYSE_PSUB16x16 | X264_ANALYSE_PSUB8x8 | X264_ANALYSE_I4x4;
}

x264_param_t makeParameters(const VideoSettings& settings, bool forFilm) {
    x264_param_t parameters;
    x264_param_default_preset(&parameters, TakeFormat::videoPreset, "zerolatency");
    parameters.i_width = settings.width;
    parameters.i_height = settings.height;
    parameters.i_csp = X264_CSP_I420;
    setColours(parameters);

    // Frames keep their times. With VFR input the encoder would hold each frame back to measure its duration.
    parameters.b_vfr_input = 0;
    parameters.i_fps_num = TakeFormat::framesPerSecond;
    parameters.i_fps_den = 1;
    parameters.i_timebase_num = timeBase.num;
    parameters.i_timebase_den = timeBase.den;
    parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE; // key frames follow time, not frame counts

    // Tuned for screens at the preset's speed. One quantizer per frame: without lookahead, rate control gains
    // nothing, and adaptive quantisation blurs text. Coefficient decimation drops small differences, which
    // add up in scrolled text. Only coarse quantizers need deblocking, and in a film it gains less than it
    // costs.
    parameters.rc.i_rc_method = X264_RC_CQP;
    parameters.rc.i_qp_constant = TakeFormat::quantizer;
    parameters.rc.f_ip_factor = 1;
    parameters.rc.f_pb_factor = factor(TakeFormat::mostRestraint + 1); // only a limit: there are no B frames
    parameters.rc.i_aq_mode = X264_AQ_NONE;
    parameters.b_deblocking_filter = forFilm ? 0 : 1;
    parameters.i_deblocking_filter_alphac0 = parameters.i_deblocking_filter_beta = -4;
    parameters.analyse.b_dct_decimate = 0;
    parameters.analyse.i_luma_deadzone[0] = 19;
    parameters.analyse.i_chroma_qp_offset = 3; // chroma noise is the least visible
    setTools(parameters, forFilm, false);
    // Screens move by whole pixels. Subpixels need three more copies of each picture, 14 MB in all.
    parameters.analyse.i_subpel_refine = forFilm ? 1 : 0;
    // Intra blocks handle cuts anyway. Detection of cuts and fades needs a smaller copy of each picture.
    parameters.i_scenecut_threshold = 0;
    parameters.analyse.i_weighted_pred = X264_WEIGHTP_NONE;
    parameters.analyse.b_mb_info = 1;
    parameters.analyse.b_psnr = 0;
    parameters.analyse.b_ssim = 0;

    parameters.i_threads = 1; // enough for 60 frames a second; threads would delay frames
    parameters.b_sliced_threads = 0;
    parameters.b_annexb = 1;
    parameters.b_repeat_headers = 0;
    x264_param_apply_profile(&parameters, "high");
    return parameters;
}

// SPS and PPS, with start codes.
std::vector<std::uint8_t> headers(x264_t* encoder) {
    x264_nal_t* units = nullptr;
    int count = 0;
    std::vector<std::uint8_t> bytes;
    if (x264_encoder_headers(encoder, &units, &count) < 0)
        return bytes;
    for (int i = 0; i < count; ++i)
        if (units[i].i_type == NAL_SPS || units[i].i_type == NAL_PPS)
            bytes.insert(bytes.end(), units[i].p_payload, units[i].p_payload + units[i].i_payload);
    return bytes;
}

void setExtradata(AVCodecParameters& parameters, const std::vector<std::uint8_t>& bytes) {
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    std::memcpy(parameters.extradata, bytes.data(), bytes.size());
    parameters.extradata_size = static_cast<int>(bytes.size());
}

} // namespace

void X264Encoder::Close::operator()(x264_t* handle) const {
    x264_encoder_close(handle);
}

X264Encoder::X264Encoder(const VideoSettings& settings_)
    : settings(settings_)
    , blocks(settings_.width, settings_.height) {}

void X264Encoder::collect(void* self, int level, const char* format, va_list arguments) {
    if (level > X264_LOG_ERROR)
        return;
    std::array<char, 512> line{};
    std::vsnprintf(line.data(), line.size(), format, arguments);
    static_cast<X264Encoder*>(self)->reported.append(QString::fromUtf8(line.data()).trimmed());
}

PlatformError X264Encoder::failure() {
    const QStringList lines = std::exchange(reported, {});
    return PlatformError(QStringLiteral("x264"), -1, lines.join(QStringLiteral("; ")));
}

X264Encoder::Handle X264Encoder::make(x264_param_t parameters) {
    parameters.pf_log = collect;
    parameters.p_log_private = this;
    parameters.i_log_level = X264_LOG_ERROR;
    // The headers are those of a film, so that the tools can change without others.
    const int transform = std::exchange(parameters.analyse.b_transform_8x8, 1);
    Handle made(x264_encoder_open(&parameters));
    parameters.analyse.b_transform_8x8 = transform;
    if (!made || x264_encoder_reconfig(made.get(), &parameters) < 0)
        throw failure();
    return made;
}

TrackDescription X264Encoder::open() {
    x264_param_t parameters = makeParameters(settings, isFilm);
    encoder = make(parameters);
    // Without VFR input the encoder's own headers claim a fixed frame rate. Nothing else differs.
    parameters.b_vfr_input = 1;
    parameters.i_timebase_num = 1;
    parameters.i_timebase_den = TakeFormat::framesPerSecond;
    const Handle describing = make(parameters);

    TrackDescription track;
    track.parameters.reset(avcodec_parameters_alloc());
    auto& described = *track.parameters;
    described.codec_type = AVMEDIA_TYPE_VIDEO;
    described.codec_id = AV_CODEC_ID_H264;
    described.format = AV_PIX_FMT_YUV420P;
    described.width = settings.width;
    described.height = settings.height;
    described.color_primaries = AVCOL_PRI_BT709;
    described.color_trc = AVCOL_TRC_BT709;
    described.color_space = AVCOL_SPC_BT709;
    described.color_range = AVCOL_RANGE_MPEG;
    described.chroma_location = AVCHROMA_LOC_CENTER;
    setExtradata(described, headers(describing.get()));
    track.timeBase = timeBase;
    track.lastDuration = microseconds(1s) / TakeFormat::framesPerSecond;
    return track;
}

// True when the next frame, up to `stillFrameInterval` later, could exceed `keyFrameInterval`.
bool X264Encoder::isKeyFrameDue(microseconds time) const {
    return !lastKeyFrame ||
           time - *lastKeyFrame > TakeFormat::keyFrameInterval - TakeFormat::stillFrameInterval;
}

int X264Encoder::quantizerFor(bool isKeyFrame, microseconds time) const {
    const auto most = blocks.size() / (isKeyFrame ? stillKeyFramePart : stillFramePart);
    if (!lastKeyFrame || blocks.count(0) < most)
        return TakeFormat::stillQuantizer;
    if (isKeyFrame)
        return TakeFormat::keyFrameQuantizer + coarser();
    return (time - lastFrame < fastInterval ? TakeFormat::fastQuantizer : TakeFormat::quantizer) + coarser();
}

// How many quantizers the picture is coarser for the sake of size or speed.
int X264Encoder::coarser() const {
    return std::min(restrained() + (haste.isOn() ? hasteQuantizers : 0), TakeFormat::mostRestraint);
}

int X264Encoder::restrained() const {
    if (freeRate <= TakeFormat::unrestrainedRate)
        return 0;
    return std::min(static_cast<int>(restraint * std::log2(freeRate / TakeFormat::unrestrainedRate)),
        TakeFormat::mostRestraint);
}

void X264Encoder::noteSize(int bytes, microseconds interval) {
    const double seconds = std::chrono::duration<double>(std::max(interval, microseconds(1))).count();
    const double rate = bytes / seconds * std::exp2(coarser() / quantizersPerHalving);
    freeRate += (rate - freeRate) * (1 - std::exp(-seconds / rateMemory));
}

void X264Encoder::hurryAfter(std::chrono::steady_clock::duration wait) {
    const bool before = haste.isOn();
    if (haste.afterWaiting(std::chrono::duration_cast<microseconds>(wait)) == before)
        return;
    x264_param_t parameters;
    x264_encoder_parameters(encoder.get(), &parameters);
    setTools(parameters, isFilm, haste.isOn());
    if (x264_encoder_reconfig(encoder.get(), &parameters) < 0)
        throw failure();
}

// Subpixels cannot be switched on in an encoder, so another one goes on from a key frame. Its headers are the
// same. What takes too many bytes is taken for a film, until a key frame is due and little is left to encode.
bool X264Encoder::changesTools(bool isKeyFrameDue) {
    const bool film = isFilm ? !isKeyFrameDue || freeRate > TakeFormat::unrestrainedRate / filmsLeastPart
                             : freeRate > TakeFormat::unrestrainedRate;
    if (film == std::exchange(isFilm, film))
        return false;
    encoder.reset(); // frees the memory first
    x264_param_t parameters = makeParameters(settings, isFilm);
    setTools(parameters, isFilm, haste.isOn());
    encoder = make(parameters);
    return true;
}

void X264Encoder::encode(const TrackContent& content, const Output& output) {
    const auto& [frame, position, damage, submitted] = std::get<TrackPicture>(content);
    const microseconds time(position);
    hurryAfter(std::chrono::steady_clock::now() - submitted);
    blocks.set(damage, 0, X264_MBINFO_CONSTANT);

    x264_picture_t picture;
    x264_picture_init(&picture);
    picture.i_pts = time.count();
    const bool isDue = isKeyFrameDue(time);
    const bool isKeyFrame = changesTools(isDue) || isDue;
    picture.i_type = isKeyFrame ? X264_TYPE_IDR : X264_TYPE_AUTO;
    picture.i_qpplus1 = quantizerFor(isKeyFrame, time) + 1;
    picture.img.i_csp = X264_CSP_I420;
    picture.img.i_plane = 3;
    for (int plane = 0; plane < 3; ++plane) {
        picture.img.plane[plane] = const_cast<std::uint8_t*>(frame->planes[plane]); // x264 only reads it
        picture.img.i_stride[plane] = frame->strides[plane];
    }
    picture.prop.mb_info = blocks.data();

    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t encoded;
    const int size = x264_encoder_encode(encoder.get(), &units, &count, &picture, &encoded);
    if (size <= 0)
        throw failure();

    if (!isKeyFrame)
        noteSize(size, time - lastFrame);
    lastFrame = time;

    libav::Packet packet(av_packet_alloc());
    libav::check(av_new_packet(packet.get(), size));
    std::memcpy(packet->data, units[0].p_payload, static_cast<std::size_t>(size)); // all units are contiguous
    packet->pts = encoded.i_pts;
    packet->dts = encoded.i_pts; // frames are not reordered
    if (encoded.b_keyframe != 0) {
        packet->flags |= AV_PKT_FLAG_KEY;
        lastKeyFrame = time;
    }
    output(std::move(packet));
}

} // namespace tavro
