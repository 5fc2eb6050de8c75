#pragma once

#include "Core/Errors.h"
#include "Platform/AssetWriter.h"
#include "Platform/Media/Haste.h"
#include "Platform/Media/SmallPages.h"
#include "Platform/Media/TrackEncoder.h"

#include <QStringList>

#include <cstdarg>
#include <optional>

extern "C" {
struct x264_t;
struct x264_param_t;
}

namespace tavro {

/// H.264 of a screen: one packet per frame, without delay. Undamaged blocks cost almost nothing.
class X264Encoder final : public TrackEncoder {
public:
    explicit X264Encoder(const VideoSettings& settings);

    TrackDescription open() override;
    void encode(const TrackContent& content, const Output& output) override;
    void drain(const Output&) override {} // the encoder has no delay

private:
    struct Close {
        void operator()(x264_t* handle) const;
    };
    using Handle = std::unique_ptr<x264_t, Close>;
    static void collect(void* self, int level, const char* format, va_list arguments);
    PlatformError failure();
    Handle make(x264_param_t parameters);
    bool changesTools(bool isKeyFrameDue);
    bool isKeyFrameDue(std::chrono::microseconds time) const;
    int quantizerFor(bool isKeyFrame, std::chrono::microseconds time) const;
    int coarser() const;
    int restrained() const;
    void hurryAfter(std::chrono::steady_clock::duration wait);
    void noteSize(int bytes, std::chrono::microseconds interval);

    const VideoSettings settings;
    const SmallPages smallPages;
    Handle encoder;
    bool isFilm = false; // encoded with subpixels
    MacroblockMap blocks;
    std::optional<std::chrono::microseconds> lastKeyFrame;
    std::chrono::microseconds lastFrame{};
    Haste haste;
    double freeRate = 0;  // recent byte rate without restraint
    QStringList reported; // the encoder's log lines of its last failure
};

} // namespace tavro
