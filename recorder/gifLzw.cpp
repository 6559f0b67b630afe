#include "gifLzw.h"

#include <algorithm>

namespace {
constexpr int kMaxCode = 4095;
constexpr int kChunkSize = 255;
} // namespace

gifLzw::gifLzw()
    : codeTree(size_t(4096) * 256, 0)
{
}

void gifLzw::writeBit(uint32_t bit)
{
    byte |= uint8_t((bit & 1) << bitIndex);
    ++bitIndex;
    if (bitIndex > 7) {
        chunk[chunkIndex++] = byte;
        bitIndex = 0;
        byte = 0;
        if (chunkIndex == kChunkSize)
            flushChunk();
    }
}

void gifLzw::flushChunk()
{
    fputc(int(chunkIndex), file);
    fwrite(chunk, 1, chunkIndex, file);
    chunkIndex = 0;
}

void gifLzw::writeCode(uint32_t code, int length)
{
    for (int i = 0; i < length; ++i) {
        writeBit(code);
        code >>= 1;
    }
}

bool gifLzw::writeIndices(FILE* f, const uint8_t* rgbaIndexed, int numPixels, int minCodeSize)
{
    file = f;
    bitIndex = 0;
    byte = 0;
    chunkIndex = 0;
    std::fill(codeTree.begin(), codeTree.end(), 0);

    const int clearCode = 1 << minCodeSize;
    const int endCode = clearCode + 1;
    int codeSize = minCodeSize + 1;
    int maxCode = clearCode + 1;
    int curCode = -1;

    writeCode(uint32_t(clearCode), codeSize);

    for (int i = 0; i < numPixels; ++i) {
        const int value = rgbaIndexed[i * 4 + 3];
        if (curCode < 0) {
            curCode = value;
            continue;
        }
        uint16_t& entry = codeTree[size_t(curCode) * 256 + size_t(value)];
        if (entry) {
            curCode = entry;
            continue;
        }
        writeCode(uint32_t(curCode), codeSize);
        entry = uint16_t(++maxCode);
        if (maxCode >= (1 << codeSize))
            ++codeSize;
        if (maxCode == kMaxCode) {
            // Table full: start a fresh dictionary.
            writeCode(uint32_t(clearCode), codeSize);
            std::fill(codeTree.begin(), codeTree.end(), 0);
            codeSize = minCodeSize + 1;
            maxCode = clearCode + 1;
        }
        curCode = value;
    }

    writeCode(uint32_t(curCode), codeSize);
    writeCode(uint32_t(clearCode), codeSize);
    writeCode(uint32_t(endCode), minCodeSize + 1);

    while (bitIndex)
        writeBit(0);
    if (chunkIndex)
        flushChunk();
    fputc(0, file);
    return !ferror(file);
}
