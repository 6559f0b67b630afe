#include "gifQuantiser.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// Adds part of a channel error to a neighbour, never pushing it below zero.
void spreadError(int32_t* pixel, const int32_t error[3], int weight)
{
    for (int c = 0; c < 3; ++c)
        pixel[c] += std::max(-pixel[c], error[c] * weight / 16);
}

bool sameColour(const uint8_t* last, int red, int green, int blue)
{
    return last[0] == red && last[1] == green && last[2] == blue;
}

} // namespace

namespace gifQuantiser {

void ditherImage(const uint8_t* lastFrame, const uint8_t* nextFrame, uint8_t* outFrame, int width, int height,
                 const gifPalette& pal)
{
    const int numPixels = width * height;
    std::vector<int32_t> quant(size_t(numPixels) * 4);
    for (size_t i = 0; i < quant.size(); ++i)
        quant[i] = int32_t(nextFrame[i]) << 8;

    for (int yy = 0; yy < height; ++yy) {
        for (int xx = 0; xx < width; ++xx) {
            const int here = yy * width + xx;
            int32_t* pix = quant.data() + here * 4;
            const int rr = (pix[0] + 127) / 256;
            const int gg = (pix[1] + 127) / 256;
            const int bb = (pix[2] + 127) / 256;

            if (lastFrame && sameColour(lastFrame + here * 4, rr, gg, bb)) {
                pix[0] = rr;
                pix[1] = gg;
                pix[2] = bb;
                pix[3] = kGifTransparentIndex;
                continue;
            }

            const int best = pal.closest(rr, gg, bb);
            const int32_t error[3] = {pix[0] - (int32_t(pal.r[best]) << 8), pix[1] - (int32_t(pal.g[best]) << 8),
                                      pix[2] - (int32_t(pal.b[best]) << 8)};
            pix[0] = pal.r[best];
            pix[1] = pal.g[best];
            pix[2] = pal.b[best];
            pix[3] = best;

            // Neighbours by linear position: at the end of a row the "next"
            // pixel is the first of the following row.
            const int right = here + 1;
            const int belowLeft = here + width - 1;
            const int below = here + width;
            const int belowRight = here + width + 1;
            if (right < numPixels)
                spreadError(quant.data() + right * 4, error, 7);
            if (belowLeft < numPixels)
                spreadError(quant.data() + belowLeft * 4, error, 3);
            if (below < numPixels)
                spreadError(quant.data() + below * 4, error, 5);
            if (belowRight < numPixels)
                spreadError(quant.data() + belowRight * 4, error, 1);
        }
    }

    for (size_t i = 0; i < quant.size(); ++i)
        outFrame[i] = uint8_t(quant[i]);
}

void thresholdImage(const uint8_t* lastFrame, const uint8_t* nextFrame, uint8_t* outFrame, int width, int height,
                    const gifPalette& pal)
{
    const int numPixels = width * height;
    for (int i = 0; i < numPixels; ++i) {
        const uint8_t* next = nextFrame + i * 4;
        uint8_t* out = outFrame + i * 4;
        if (lastFrame && sameColour(lastFrame + i * 4, next[0], next[1], next[2])) {
            std::memmove(out, next, 3);
            out[3] = kGifTransparentIndex;
            continue;
        }
        const int best = pal.closest(next[0], next[1], next[2]);
        out[0] = pal.r[best];
        out[1] = pal.g[best];
        out[2] = pal.b[best];
        out[3] = uint8_t(best);
    }
}

} // namespace gifQuantiser
