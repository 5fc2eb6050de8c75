#pragma once

#include "Core/Errors.h"
#include "Platform/AssetWriter.h"
#include "Platform/Media/SmallPages.h"
#include "Platform/Media/TrackEncoder.h"

#include <QStringList>

#include <cstdarg>
#include <optional>

extern "C" {
struct x264_t;
}

namespace tavro {

/// H.264 of a screen: one packet a frame, at once, in the order given. What is not damaged costs next to
/// nothing.
class X264Encoder final : public TrackEncoder {
public:
    explicit X264Encoder(const VideoSettings& settings);

    TrackDescription open() override;
    void encode(const TrackContent& content, const Output& output) override;
    void drain(const Output&) override {} // nothing is ever held back

private:
    struct Close {
        void operator()(x264_t* handle) const;
    };
    static void collect(void* self, int level, const char* format, va_list arguments);
    PlatformError failure();
    bool isKeyFrameDue(std::chrono::microseconds time) const;
    int quantizerFor(bool isKeyFrame, std::chrono::microseconds time) const;
    int restrained() const;
    void noteSize(int bytes, std::chrono::microseconds interval);

    const VideoSettings settings;
    const SmallPages smallPages;
    std::unique_ptr<x264_t, Close> encoder;
    MacroblockMap blocks;
    std::optional<std::chrono::microseconds> lastKeyFrame;
    std::chrono::microseconds lastFrame{};
    double freeRate = 0;  // bytes a second that the frames of late would take without restraint
    QStringList reported; // the encoder's own words on its last failure
};

} // namespace tavro
