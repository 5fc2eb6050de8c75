#include "CastSource.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <stdexcept>
#include <sys/mman.h>
#include <thread>

namespace tavro::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr int patience = 20; // seconds
constexpr int mostDamage = 16;
constexpr int largestCursor = 384; // pixels, as GNOME offers

spa_video_format formatOf(CastColors colors) {
    constexpr std::array formats{SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBx,
        SPA_VIDEO_FORMAT_RGBA, SPA_VIDEO_FORMAT_ARGB, SPA_VIDEO_FORMAT_ABGR};
    return formats[static_cast<std::size_t>(colors)];
}

void write(const CastPicture& picture, CastColors colors, std::size_t stride, std::uint8_t* to) {
    constexpr int shifts[][4] = {
        {0, 8, 16, 24}, {0, 8, 16, 24}, {16, 8, 0, 24}, {16, 8, 0, 24}, {24, 16, 8, 0}, {24, 0, 8, 16}};
    const auto& order = shifts[static_cast<std::size_t>(colors)];
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            for (int byte = 0; byte < 4; ++byte)
                to[y * stride + x * 4 + byte] = static_cast<std::uint8_t>(picture.at(x, y) >> order[byte]);
}

spa_region regionOf(const Rect& rect) {
    return {
        {rect.x, rect.y}, {static_cast<std::uint32_t>(rect.width), static_cast<std::uint32_t>(rect.height)}};
}

void tell(const CastCursor& cursor, spa_meta& meta) {
    auto* told = static_cast<spa_meta_cursor*>(meta.data);
    *told = {};
    told->id = cursor.id;
    told->position = {cursor.x, cursor.y};
    if (!cursor.bitmap)
        return;
    const CastPicture& picture = cursor.bitmap->picture;
    told->hotspot = {cursor.bitmap->hotX, cursor.bitmap->hotY};
    told->bitmap_offset = sizeof(spa_meta_cursor);
    auto* bitmap = SPA_PTROFF(told, told->bitmap_offset, spa_meta_bitmap);
    bitmap->format = formatOf(cursor.bitmap->colors);
    bitmap->size = {static_cast<std::uint32_t>(picture.width), static_cast<std::uint32_t>(picture.height)};
    bitmap->stride = picture.width * 4 + cursor.bitmap->linePadding;
    bitmap->offset = picture.pixels.empty() ? 0 : sizeof(spa_meta_bitmap);
    write(picture, cursor.bitmap->colors, static_cast<std::size_t>(bitmap->stride),
        SPA_PTROFF(bitmap, sizeof(spa_meta_bitmap), std::uint8_t));
}

class Lock {
public:
    explicit Lock(pw_thread_loop* thread) : loop(thread) { pw_thread_loop_lock(loop); }
    ~Lock() { pw_thread_loop_unlock(loop); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    pw_thread_loop* const loop;
};

} // namespace

struct CastSource::Impl {
    CastOptions options;
    pw_thread_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_stream* stream = nullptr;
    spa_hook hook{};
    bool hasFormat = false;
    bool hasCycleEnded = false;
    int cycles = 0;                                          // that the receiver has ended
    std::map<pw_buffer*, std::vector<std::uint8_t>> buffers; // with what was written last

    void waitFor(const char* what, const std::function<bool()>& condition) {
        for (int i = 0; !condition(); ++i)
            if (pw_thread_loop_timed_wait(loop, 1) != 0 && i >= patience)
                throw std::runtime_error(std::string("cast: no ") + what);
    }
    bool isWatched() const { return is(PW_STREAM_STATE_STREAMING) && hasFormat && !buffers.empty(); }
    bool is(pw_stream_state state) const { return pw_stream_get_state(stream, nullptr) == state; }
    int stride() const { return options.width * 4 + options.linePadding; }
    int size() const { return stride() * options.height - options.missing; }

    void connect();
    const spa_pod* format(spa_pod_builder& builder) const;
    void takeFormat(const spa_pod* agreed);
    void add(pw_buffer* buffer);
    void remove(pw_buffer* buffer);
    void fill(pw_buffer* buffer, const CastFrame& frame);
    void passOn();
    static const pw_stream_events events;
};

const pw_stream_events CastSource::Impl::events = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.state_changed = [](void* self, pw_stream_state, pw_stream_state, const char*) {
        pw_thread_loop_signal(static_cast<Impl*>(self)->loop, false);
    };
    events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
        if (id == SPA_PARAM_Format)
            static_cast<Impl*>(self)->takeFormat(parameter);
    };
    events.add_buffer = [](void* self, pw_buffer* buffer) { static_cast<Impl*>(self)->add(buffer); };
    events.remove_buffer = [](void* self, pw_buffer* buffer) { static_cast<Impl*>(self)->remove(buffer); };
    events.trigger_done = [](void* self) { static_cast<Impl*>(self)->hasCycleEnded = true; };
    return events;
}();

void CastSource::Impl::connect() {
    pw_init(nullptr, nullptr);
    loop = pw_thread_loop_new("cast", nullptr);
    context =
        pw_context_new(pw_thread_loop_get_loop(loop), pw_properties_new("support.dbus", "false", nullptr), 0);
    pw_thread_loop_start(loop);
    const Lock lock(loop);
    pw_core* core = pw_context_connect(context, nullptr, 0);
    if (!core)
        throw std::runtime_error("cast: no PipeWire");
    stream = pw_stream_new(core, "cast", pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", nullptr));
    pw_stream_add_listener(stream, &hook, &events, this);
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const spa_pod* offer = format(builder);
    pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_ALLOC_BUFFERS), &offer, 1);
    waitFor("node", [this] { return is(PW_STREAM_STATE_PAUSED); });
}

const spa_pod* CastSource::Impl::format(spa_pod_builder& builder) const {
    const spa_rectangle size{
        static_cast<std::uint32_t>(options.width), static_cast<std::uint32_t>(options.height)};
    const spa_fraction onChange{0, 1}, least{1, 1}, most{60, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_Format,
        SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format, SPA_POD_Id(formatOf(options.colors)),
        SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
        SPA_POD_Fraction(&onChange), SPA_FORMAT_VIDEO_maxFramerate,
        SPA_POD_CHOICE_RANGE_Fraction(&most, &least, &most)));
}

void CastSource::Impl::takeFormat(const spa_pod* agreed) {
    hasFormat = agreed != nullptr;
    if (!hasFormat)
        return;
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    std::vector<const spa_pod*> offers;
    offers.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(&builder,
        SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(options.buffers, 2, options.buffers), SPA_PARAM_BUFFERS_blocks,
        SPA_POD_Int(1), SPA_PARAM_BUFFERS_size, SPA_POD_Int(size()), SPA_PARAM_BUFFERS_stride,
        SPA_POD_Int(stride()), SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd))));
    const auto offer = [&](spa_meta_type type, std::size_t bytes) {
        offers.push_back(static_cast<const spa_pod*>(
            spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta,
                SPA_PARAM_META_type, SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(int(bytes)))));
    };
    offer(SPA_META_Header, sizeof(spa_meta_header));
    offer(SPA_META_VideoCrop, sizeof(spa_meta_region));
    if (options.tellsDamage)
        offer(SPA_META_VideoDamage, sizeof(spa_meta_region) * mostDamage);
    if (options.tellsCursor)
        offer(SPA_META_Cursor,
            sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + largestCursor * largestCursor * 4);
    pw_stream_update_params(stream, offers.data(), static_cast<std::uint32_t>(offers.size()));
}

void CastSource::Impl::add(pw_buffer* buffer) {
    spa_data& data = buffer->buffer->datas[0];
    data.type = SPA_DATA_MemFd;
    data.flags = SPA_DATA_FLAG_READWRITE;
    data.fd = memfd_create("cast", MFD_CLOEXEC);
    data.mapoffset = 0;
    data.maxsize = static_cast<std::uint32_t>(size());
    if (ftruncate(static_cast<int>(data.fd), data.maxsize) != 0)
        std::abort();
    data.data = mmap(nullptr, data.maxsize, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(data.fd), 0);
    buffers[buffer].assign(data.maxsize, 0);
}

void CastSource::Impl::remove(pw_buffer* buffer) {
    const spa_data& data = buffer->buffer->datas[0];
    munmap(data.data, data.maxsize);
    close(static_cast<int>(data.fd));
    buffers.erase(buffer);
}

void CastSource::Impl::fill(pw_buffer* buffer, const CastFrame& frame) {
    spa_buffer& b = *buffer->buffer;
    auto* memory = static_cast<std::uint8_t*>(b.datas[0].data);
    if (frame.picture && options.missing == 0)
        write(*frame.picture, options.colors, static_cast<std::size_t>(stride()), memory);
    buffers[buffer].assign(memory, memory + b.datas[0].maxsize);
    b.datas[0].chunk->offset = 0;
    b.datas[0].chunk->size = frame.isEmpty ? 0 : b.datas[0].maxsize;
    b.datas[0].chunk->stride = frame.withoutStride ? 0 : stride();
    b.datas[0].chunk->flags = frame.isCorrupted ? SPA_CHUNK_FLAG_CORRUPTED : SPA_CHUNK_FLAG_NONE;
    if (spa_meta* header = spa_buffer_find_meta(&b, SPA_META_Header))
        static_cast<spa_meta_header*>(header->data)->pts =
            std::chrono::nanoseconds(frame.stamp.time_since_epoch()).count();
    if (spa_meta* crop = spa_buffer_find_meta(&b, SPA_META_VideoCrop))
        static_cast<spa_meta_region*>(crop->data)->region =
            regionOf(frame.crop.value_or(Rect{0, 0, options.width, options.height}));
    if (spa_meta* damage = spa_buffer_find_meta(&b, SPA_META_VideoDamage)) {
        auto* regions = static_cast<spa_meta_region*>(damage->data);
        std::fill(regions, regions + mostDamage, spa_meta_region{});
        for (const Rect& rect : frame.damage)
            (regions++)->region = regionOf(rect);
    }
    if (spa_meta* cursor = spa_buffer_find_meta(&b, SPA_META_Cursor))
        tell(frame.cursor.value_or(CastCursor{.id = 0}), *cursor);
}

// A cycle that begins while the receiver is at work on the last one disturbs it, and passes nothing on. One
// that no receiver takes part in may have no end.
void CastSource::Impl::passOn() {
    using namespace std::chrono_literals;
    pw_time time{};
    const auto limit = Clock::now() + std::chrono::seconds(patience);
    do {
        if (Clock::now() > limit)
            throw std::runtime_error("cast: a frame cannot be passed on");
        hasCycleEnded = false;
        pw_stream_trigger_process(stream);
        for (int i = 0; i < 50 && !hasCycleEnded; ++i) {
            pw_thread_loop_unlock(loop);
            std::this_thread::sleep_for(1ms);
            pw_thread_loop_lock(loop);
        }
        pw_stream_get_time_n(stream, &time, sizeof time);
    } while (time.queued_buffers > 0);
}

CastSource::CastSource(const CastOptions& options) : impl(std::make_unique<Impl>()) {
    impl->options = options;
    impl->connect();
}

CastSource::~CastSource() {
    pw_thread_loop_stop(impl->loop);
    pw_stream_destroy(impl->stream);
    pw_context_destroy(impl->context);
    pw_thread_loop_destroy(impl->loop);
}

std::uint32_t CastSource::node() const {
    const Lock lock(impl->loop);
    return pw_stream_get_node_id(impl->stream);
}

bool CastSource::isWatched() const {
    const Lock lock(impl->loop);
    return impl->isWatched();
}

bool CastSource::send(const CastFrame& frame) {
    const Lock lock(impl->loop);
    pw_buffer* buffer = impl->isWatched() ? pw_stream_dequeue_buffer(impl->stream) : nullptr;
    if (!buffer)
        return false;
    impl->fill(buffer, frame);
    pw_stream_queue_buffer(impl->stream, buffer);
    impl->passOn();
    return true;
}

void CastSource::resize(int width, int height) {
    const Lock lock(impl->loop);
    impl->options.width = width;
    impl->options.height = height;
    impl->hasFormat = false;
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const spa_pod* offer = impl->format(builder);
    pw_stream_update_params(impl->stream, &offer, 1);
}

void CastSource::setPaused(bool paused) {
    const Lock lock(impl->loop);
    pw_stream_set_active(impl->stream, !paused);
}

bool CastSource::isUntouched() const {
    const Lock lock(impl->loop);
    return std::all_of(impl->buffers.begin(), impl->buffers.end(), [](const auto& entry) {
        return std::memcmp(entry.first->buffer->datas[0].data, entry.second.data(), entry.second.size()) == 0;
    });
}

void CastPicture::fill(const Rect& rect, std::uint32_t color) {
    for (int y = rect.y; y < rect.y + rect.height; ++y)
        for (int x = rect.x; x < rect.x + rect.width; ++x)
            at(x, y) = color;
}

FileDescriptor openPipeWireRemote() {
    pw_init(nullptr, nullptr);
    pw_loop* loop = pw_loop_new(nullptr);
    pw_context* context = pw_context_new(loop, pw_properties_new("support.dbus", "false", nullptr), 0);
    pw_core* core = pw_context_connect(context, nullptr, 0);
    FileDescriptor remote(core ? pw_core_steal_fd(core) : -1);
    pw_context_destroy(context);
    pw_loop_destroy(loop);
    return remote;
}

} // namespace tavro::test
