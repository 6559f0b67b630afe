#pragma once

#include "gifPalette.h"

#include <cstdint>

// Maps an RGBA frame onto a palette. Both functions write RGBA to outFrame,
// where the fourth byte of each pixel is the chosen palette index. A pixel
// equal to the one in lastFrame (may be null) gets the transparent index, so
// that the previous frame shows through. lastFrame may equal outFrame.
namespace gifQuantiser {

// Floyd-Steinberg error diffusion in 8.8 fixed point.
void ditherImage(const uint8_t* lastFrame, const uint8_t* nextFrame, uint8_t* outFrame, int width, int height,
                 const gifPalette& pal);

// Plain nearest-entry mapping, no error diffusion.
void thresholdImage(const uint8_t* lastFrame, const uint8_t* nextFrame, uint8_t* outFrame, int width, int height,
                    const gifPalette& pal);

} // namespace gifQuantiser
