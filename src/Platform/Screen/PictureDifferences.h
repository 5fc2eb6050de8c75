#pragma once

#include "Platform/Screen/PictureRegion.h"
#include "Platform/Screen/PixelView.h"

namespace tavro {

/// Finds what has changed where the source of a picture does not tell it: areas, some tiles in size, outside
/// of which both views of the same area are equal, in all four bytes of a pixel.
PictureRegion differences(const PixelView& before, const PixelView& now);

} // namespace tavro
