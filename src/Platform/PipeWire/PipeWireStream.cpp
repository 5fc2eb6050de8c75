#include "Platform/PipeWire/PipeWireStream.h"

#include "Core/Errors.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <spa/param/video/format-utils.h>
#include <utility>

namespace tavro {
namespace {

constexpr std::uint32_t largestPicture = 16'384; // pixels
constexpr std::uint32_t highestRate = 240; // frames a second: the capture's own pace is finer than a sender's
constexpr int fewestBuffers = 4, usualBuffers = 8, mostBuffers = 16;
constexpr int mostDamage = 16;                           // regions
constexpr int usualPointer = 384, largestPointer = 1024; // pixels; less than 384 gets none from GNOME
constexpr int acceptedMemory = 1 << SPA_DATA_MemFd | 1 << SPA_DATA_MemPtr;

constexpr int bytesOfPointer(int side) {
    return static_cast<int>(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap)) + side * side * 4;
}

PlatformError noConnection(int error) {
    return PlatformError(QStringLiteral("Tavro.PipeWire"), 1,
        QStringLiteral("PipeWire, which passes on the desktop's picture, cannot be reached: ") +
            QString::fromLocal8Bit(std::strerror(error)));
}

PipeWireHandle<pw_loop> makeLoop() {
    static const bool initialised = (pw_init(nullptr, nullptr), true);
    pw_loop* loop = initialised ? pw_loop_new(nullptr) : nullptr;
    if (!loop)
        throw noConnection(errno);
    pw_loop_enter(loop);
    return PipeWireHandle<pw_loop>(loop);
}

// The format of any size and rate.
const spa_pod* anyFormat(spa_pod_builder& builder) {
    const spa_rectangle usualSize{1920, 1080}, leastSize{1, 1}, mostSize{largestPicture, largestPicture};
    const spa_fraction onChange{0, 1}, least{1, 1}, most{highestRate, 1};
    return static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,                 //
            SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),                                        //
            SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),                                    //
            SPA_FORMAT_VIDEO_format,                                                                       //
            SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA, //
                SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),                                             //
            SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usualSize, &leastSize, &mostSize),      //
            SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&onChange, &onChange, &most),        //
            SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_CHOICE_RANGE_Fraction(&most, &least, &most)));
}

// `size` and its limits in bytes.
const spa_pod* metadata(spa_pod_builder& builder, spa_meta_type type, int size, int least, int most) {
    return static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_CHOICE_RANGE_Int(size, least, most)));
}

} // namespace

const pw_stream_events PipeWireStream::streamEvents = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
        static_cast<PipeWireStream*>(self)->takeParameter(id, parameter);
    };
    events.add_buffer = [](void* self, pw_buffer*) { ++static_cast<PipeWireStream*>(self)->buffers; };
    events.remove_buffer = [](void* self, pw_buffer* buffer) {
        static_cast<PipeWireStream*>(self)->lose(buffer);
    };
    events.process = [](void*) {}; // wakes the loop; what has come is fetched outside of it
    return events;
}();

const pw_core_events PipeWireStream::coreEvents = [] {
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.error = [](void* self, std::uint32_t id, int, int result, const char* message) {
        if (id == PW_ID_CORE && result == -EPIPE) // others do not end the connection
            static_cast<PipeWireStream*>(self)->broken = QString::fromUtf8(message);
    };
    return events;
}();

PipeWireStream::PipeWireStream(FileDescriptor remote) : loop(makeLoop()) {
    // Without the bus, which only the scheduling of real-time threads needs: this one has none. Nor are the
    // pictures' buffers locked into memory, which makes pages of those that are never filled.
    context.reset(pw_context_new(
        loop.get(), pw_properties_new("support.dbus", "false", "mem.allow-mlock", "false", nullptr), 0));
    if (context)
        core.reset(pw_context_connect_fd(context.get(), remote.release(), nullptr, 0)); // also when it fails
    if (!core)
        throw noConnection(errno);
    pw_core_add_listener(core.get(), &coreHook, &coreEvents, this);
}

void PipeWireStream::connect(std::uint32_t node, bool pointerInMetadata) {
    withPointer = pointerInMetadata;
    stream.reset(pw_stream_new(core.get(), "Tavro",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
            "Screen", nullptr)));
    if (!stream)
        throw noConnection(errno);
    pw_stream_add_listener(stream.get(), &streamHook, &streamEvents, this);

    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* format = anyFormat(builder);
    // Without DONT_RECONNECT another source takes the place of one that has gone: a camera, or another
    // screen.
    const auto flags = static_cast<pw_stream_flags>(
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DONT_RECONNECT);
    const int result = pw_stream_connect(stream.get(), PW_DIRECTION_INPUT, node, flags, &format, 1);
    if (result < 0)
        throw noConnection(-result);
}

int PipeWireStream::descriptor() const {
    return pw_loop_get_fd(loop.get());
}

void PipeWireStream::iterate() {
    pw_loop_iterate(loop.get(), 0);
}

PipeWireStream::State PipeWireStream::state() const {
    if (broken)
        return State::failed;
    switch (pw_stream_get_state(stream.get(), nullptr)) {
    case PW_STREAM_STATE_STREAMING:
        return State::streaming;
    case PW_STREAM_STATE_CONNECTING:
    case PW_STREAM_STATE_PAUSED:
        return State::waiting;
    default:
        return State::failed;
    }
}

QString PipeWireStream::failure() const {
    if (broken)
        return *broken;
    const char* why = nullptr;
    pw_stream_get_state(stream.get(), &why);
    return why ? QString::fromUtf8(why) : QStringLiteral("its source is gone");
}

void PipeWireStream::hold(pw_buffer& buffer) {
    if (pw_buffer* before = std::exchange(kept, &buffer))
        giveBack(*before);
}

void PipeWireStream::takeParameter(std::uint32_t id, const spa_pod* parameter) {
    if (id != SPA_PARAM_Format)
        return;
    agreed.reset();
    spa_video_info_raw info{};
    if (!parameter || spa_format_video_raw_parse(parameter, &info) < 0)
        return;
    agreed = {static_cast<int>(info.size.width), static_cast<int>(info.size.height),
        info.format == SPA_VIDEO_FORMAT_RGBx || info.format == SPA_VIDEO_FORMAT_RGBA};
    offerBuffers();
}

// No SPA_META_VideoTransform: with it, one of the portals crashes at the end of a session.
void PipeWireStream::offerBuffers() {
    constexpr int header = sizeof(spa_meta_header), region = sizeof(spa_meta_region);
    std::array<std::uint8_t, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    std::array<const spa_pod*, 5> offers{};
    std::uint32_t count = 0;
    offers[count++] = static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers,              //
            SPA_PARAM_BUFFERS_buffers, SPA_POD_CHOICE_RANGE_Int(usualBuffers, fewestBuffers, mostBuffers), //
            SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(acceptedMemory)));
    offers[count++] = metadata(builder, SPA_META_Header, header, header, header);
    offers[count++] = metadata(builder, SPA_META_VideoCrop, region, region, region);
    offers[count++] =
        metadata(builder, SPA_META_VideoDamage, mostDamage * region, region, mostDamage * region);
    if (withPointer)
        offers[count++] = metadata(builder, SPA_META_Cursor, bytesOfPointer(usualPointer), bytesOfPointer(1),
            bytesOfPointer(largestPointer));
    pw_stream_update_params(stream.get(), offers.data(), count);
}

void PipeWireStream::lose(pw_buffer* buffer) {
    --buffers;
    if (buffer == kept)
        kept = nullptr;
}

} // namespace tavro
