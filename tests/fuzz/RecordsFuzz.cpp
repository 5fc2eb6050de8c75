#include "Backend/ModelsJson.h"

#include <cstdint>
#include <cstdlib>

namespace {

// A decoded record survives encoding and decoding; all else throws the coder's own error.
template <class T>
void decodeAndBack(const QByteArray& bytes) {
    std::optional<T> value;
    try {
        value = tavro::decodeJson<T>(bytes);
    } catch (const tavro::JsonError& error) {
        if (error.message().isEmpty())
            std::abort();
        return;
    }
    if (tavro::decodeJson<T>(tavro::encodeJson(*value)) != *value)
        std::abort();
}

template <class... T>
void decodeAs(std::size_t which, const QByteArray& bytes) {
    constexpr void (*decoders[])(const QByteArray&) = {&decodeAndBack<T>...};
    decoders[which % sizeof...(T)](bytes);
}

} // namespace

// The first byte selects the record, the rest is its JSON.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tavro;
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size - 1));
    decodeAs<User, Project, Scenario, CaptureTargetMeta, Session, Marker, Screenshot, TranscriptSegment,
        LiveEvent, std::vector<Project>, std::vector<LiveEvent>>(data[0] - std::size_t{'a'}, bytes);
    return 0;
}
