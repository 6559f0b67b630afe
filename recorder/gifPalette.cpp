#include "gifPalette.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void swapPixels(uint8_t* pixels, int a, int b)
{
    uint8_t* pa = pixels + a * 4;
    uint8_t* pb = pixels + b * 4;
    for (int i = 0; i < 4; ++i)
        std::swap(pa[i], pb[i]);
}

// One quickselect pass on channel `elt` of pixels [left, right). Values equal
// to the pivot are sent left every other time, so that large runs of one
// colour (flat screen areas) still split near the middle.
int partition(uint8_t* pixels, int left, int right, int elt, int pivotIndex)
{
    const uint8_t pivotValue = pixels[pivotIndex * 4 + elt];
    swapPixels(pixels, pivotIndex, right - 1);
    int storeIndex = left;
    bool sendLeft = false;
    for (int i = left; i < right - 1; ++i) {
        const uint8_t value = pixels[i * 4 + elt];
        if (value < pivotValue) {
            swapPixels(pixels, i, storeIndex);
            ++storeIndex;
        } else if (value == pivotValue) {
            if (sendLeft) {
                swapPixels(pixels, i, storeIndex);
                ++storeIndex;
            }
            sendLeft = !sendLeft;
        }
    }
    swapPixels(pixels, storeIndex, right - 1);
    return storeIndex;
}

// Reorders pixels so that every pixel before neededCenter has a channel value
// not above the one at neededCenter, and every one after it not below.
void partitionByMedian(uint8_t* pixels, int left, int right, int elt, int neededCenter)
{
    while (left < right - 1) {
        const int pivot = partition(pixels, left, right, elt, left + (right - left) / 2);
        if (pivot > neededCenter)
            right = pivot;
        else if (pivot < neededCenter)
            left = pivot + 1;
        else
            return;
    }
}

} // namespace

void gifPalette::build(const uint8_t* lastFrame, const uint8_t* nextFrame, int width, int height, int depth,
                       bool buildForDither)
{
    bitDepth = depth;
    const int numPixels = width * height;
    std::vector<uint8_t> pixels(size_t(numPixels) * 4);
    int count = numPixels;
    if (lastFrame && !buildForDither) {
        // Without dithering only what changed needs a colour of its own.
        count = 0;
        for (int i = 0; i < numPixels; ++i) {
            const uint8_t* next = nextFrame + i * 4;
            const uint8_t* last = lastFrame + i * 4;
            if (next[0] != last[0] || next[1] != last[1] || next[2] != last[2]) {
                std::memcpy(pixels.data() + count * 4, next, 4);
                ++count;
            }
        }
    } else if (numPixels > 0) {
        std::memcpy(pixels.data(), nextFrame, pixels.size());
    }

    const int lastElt = 1 << bitDepth;
    const int splitElt = lastElt / 2;
    const int splitDist = splitElt / 2;
    split(pixels.data(), count, 1, lastElt, splitElt, splitDist, 1, buildForDither);

    // Entry 0 is the transparent one; the tree node above leaves 0 and 1 sends
    // every search to entry 1 first.
    treeSplit[1 << (bitDepth - 1)] = 0;
    treeSplitElt[1 << (bitDepth - 1)] = 0;
    r[kGifTransparentIndex] = g[kGifTransparentIndex] = b[kGifTransparentIndex] = 0;
}

void gifPalette::setLeaf(const uint8_t* pixels, int numPixels, int elt, bool buildForDither)
{
    if (buildForDither && (elt == 1 || elt == (1 << bitDepth) - 1)) {
        const bool smallest = elt == 1;
        uint8_t extreme[3] = {uint8_t(smallest ? 255 : 0), uint8_t(smallest ? 255 : 0), uint8_t(smallest ? 255 : 0)};
        for (int i = 0; i < numPixels; ++i)
            for (int c = 0; c < 3; ++c)
                extreme[c] =
                    smallest ? std::min(extreme[c], pixels[i * 4 + c]) : std::max(extreme[c], pixels[i * 4 + c]);
        r[elt] = extreme[0];
        g[elt] = extreme[1];
        b[elt] = extreme[2];
        return;
    }
    uint64_t sum[3] = {0, 0, 0};
    for (int i = 0; i < numPixels; ++i)
        for (int c = 0; c < 3; ++c)
            sum[c] += pixels[i * 4 + c];
    const uint64_t n = uint64_t(numPixels);
    r[elt] = uint8_t((sum[0] + n / 2) / n);
    g[elt] = uint8_t((sum[1] + n / 2) / n);
    b[elt] = uint8_t((sum[2] + n / 2) / n);
}

void gifPalette::split(uint8_t* pixels, int numPixels, int firstElt, int lastElt, int splitElt, int splitDist,
                       int treeNode, bool buildForDither)
{
    if (lastElt <= firstElt || numPixels == 0)
        return;
    if (lastElt == firstElt + 1) {
        setLeaf(pixels, numPixels, firstElt, buildForDither);
        return;
    }

    uint8_t minVal[3] = {255, 255, 255};
    uint8_t maxVal[3] = {0, 0, 0};
    for (int i = 0; i < numPixels; ++i)
        for (int c = 0; c < 3; ++c) {
            minVal[c] = std::min(minVal[c], pixels[i * 4 + c]);
            maxVal[c] = std::max(maxVal[c], pixels[i * 4 + c]);
        }
    const int rRange = maxVal[0] - minVal[0];
    const int gRange = maxVal[1] - minVal[1];
    const int bRange = maxVal[2] - minVal[2];
    int splitCom = 1;
    if (bRange > gRange)
        splitCom = 2;
    if (rRange > bRange && rRange > gRange)
        splitCom = 0;

    const int subPixelsA = int(int64_t(numPixels) * (splitElt - firstElt) / (lastElt - firstElt));
    const int subPixelsB = numPixels - subPixelsA;
    partitionByMedian(pixels, 0, numPixels, splitCom, subPixelsA);

    treeSplitElt[treeNode] = uint8_t(splitCom);
    treeSplit[treeNode] = pixels[subPixelsA * 4 + splitCom];

    split(pixels, subPixelsA, firstElt, splitElt, splitElt - splitDist, splitDist / 2, treeNode * 2, buildForDither);
    split(pixels + subPixelsA * 4, subPixelsB, splitElt, lastElt, splitElt + splitDist, splitDist / 2, treeNode * 2 + 1,
          buildForDither);
}

int gifPalette::closest(int red, int green, int blue) const
{
    int bestInd = 1;
    int bestDiff = 1000000;
    search(red, green, blue, bestInd, bestDiff, 1);
    return bestInd;
}

void gifPalette::search(int red, int green, int blue, int& bestInd, int& bestDiff, int treeNode) const
{
    const int leaves = 1 << bitDepth;
    if (treeNode >= leaves) {
        const int ind = treeNode - leaves;
        if (ind == kGifTransparentIndex)
            return;
        const int diff = std::abs(red - r[ind]) + std::abs(green - g[ind]) + std::abs(blue - b[ind]);
        if (diff < bestDiff) {
            bestInd = ind;
            bestDiff = diff;
        }
        return;
    }

    const int comps[3] = {red, green, blue};
    const int splitComp = comps[treeSplitElt[treeNode]];
    const int splitPos = treeSplit[treeNode];
    if (splitPos > splitComp) {
        search(red, green, blue, bestInd, bestDiff, treeNode * 2);
        if (bestDiff > splitPos - splitComp)
            search(red, green, blue, bestInd, bestDiff, treeNode * 2 + 1);
    } else {
        search(red, green, blue, bestInd, bestDiff, treeNode * 2 + 1);
        if (bestDiff > splitComp - splitPos)
            search(red, green, blue, bestInd, bestDiff, treeNode * 2);
    }
}
