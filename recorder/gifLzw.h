#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

// Variable-length LZW as GIF image data wants it: codes packed low bit first,
// bytes grouped into sub-blocks of at most 255 bytes, ended by an empty one.
class gifLzw
{
public:
    gifLzw();

    // Compresses the palette indices found in the fourth byte of each RGBA
    // pixel and writes the sub-blocks plus the terminator to f.
    // Returns false when the stream reports a write error.
    bool writeIndices(FILE* f, const uint8_t* rgbaIndexed, int numPixels, int minCodeSize);

private:
    void writeCode(uint32_t code, int length);
    void writeBit(uint32_t bit);
    void flushChunk();

    FILE* file = nullptr;
    std::vector<uint16_t> codeTree; // (code, next value) -> code; 0 is none
    uint8_t bitIndex = 0;
    uint8_t byte = 0;
    uint32_t chunkIndex = 0;
    uint8_t chunk[256] = {};
};
