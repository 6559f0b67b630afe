#pragma once

#include <cstdint>

// Index 0 of every frame palette is reserved: it is the transparent entry that
// keeps the previous frame's pixel on screen.
constexpr int kGifTransparentIndex = 0;

// A frame's colour table plus the k-d tree that the median cut leaves behind.
// Inner node n splits on channel treeSplitElt[n] (0 red, 1 green, 2 blue) at
// value treeSplit[n]; node (1 << bitDepth) + i is the leaf of entry i.
struct gifPalette
{
    int bitDepth = 8;
    uint8_t r[256] = {};
    uint8_t g[256] = {};
    uint8_t b[256] = {};
    uint8_t treeSplitElt[256] = {};
    uint8_t treeSplit[256] = {};

    // Builds the table from RGBA pixels by recursive median cut. With
    // buildForDither the two outer entries take the smallest and largest
    // channel values, so that error diffusion can reach the whole range.
    // lastFrame (RGBA, may be null) is only used without dithering: then only
    // pixels that changed against it count.
    void build(const uint8_t* lastFrame, const uint8_t* nextFrame, int width, int height, int bitDepth,
               bool buildForDither);

    // Closest opaque entry by the sum of absolute channel differences,
    // searching the tree from node 1 and pruning by distance to split planes.
    int closest(int red, int green, int blue) const;

private:
    void split(uint8_t* pixels, int numPixels, int firstElt, int lastElt, int splitElt, int splitDist, int treeNode,
               bool buildForDither);
    void setLeaf(const uint8_t* pixels, int numPixels, int elt, bool buildForDither);
    void search(int red, int green, int blue, int& bestInd, int& bestDiff, int treeNode) const;
};
