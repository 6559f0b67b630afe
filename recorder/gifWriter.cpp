#include "gifWriter.h"

#include "gifLzw.h"
#include "gifPalette.h"
#include "gifQuantiser.h"

#include <cstdlib>
#include <memory>

gifWriter::~gifWriter()
{
    end();
}

void gifWriter::writeLittleEndian16(int value)
{
    fputc(value & 0xff, f);
    fputc((value >> 8) & 0xff, f);
}

bool gifWriter::begin(const char* fileName, int w, int h)
{
    end();
    if (!fileName || w < 1 || h < 1 || w > 0xffff || h > 0xffff)
        return false;
    f = fopen(fileName, "wb");
    if (!f)
        return false;
    firstFrame = true;
    width = w;
    height = h;
    oldImage = static_cast<uint8_t*>(calloc(size_t(w) * size_t(h), 4));
    if (!oldImage) {
        fclose(f);
        f = nullptr;
        return false;
    }
    writeHeader();
    return !ferror(f);
}

void gifWriter::writeHeader()
{
    fputs("GIF89a", f);
    writeLittleEndian16(width);
    writeLittleEndian16(height);
    fputc(0xf0, f); // global colour table of 2 entries; frames bring their own
    fputc(0, f);    // background colour index
    fputc(0, f);    // pixel aspect ratio
    for (int i = 0; i < 6; ++i)
        fputc(0, f); // both global entries black

    // Application extension: loop for ever.
    fputc(0x21, f);
    fputc(0xff, f);
    fputc(11, f);
    fputs("NETSCAPE2.0", f);
    fputc(3, f);
    fputc(1, f);
    writeLittleEndian16(0);
    fputc(0, f);
}

void gifWriter::writeFrameHeader(int delay, int bitDepth, const gifPalette& pal)
{
    // Graphic control extension: keep the frame when the next one comes,
    // index 0 transparent.
    fputc(0x21, f);
    fputc(0xf9, f);
    fputc(4, f);
    fputc(0x05, f);
    writeLittleEndian16(delay);
    fputc(kGifTransparentIndex, f);
    fputc(0, f);

    // Image descriptor with a local colour table.
    fputc(0x2c, f);
    writeLittleEndian16(0);
    writeLittleEndian16(0);
    writeLittleEndian16(width);
    writeLittleEndian16(height);
    fputc(0x80 + bitDepth - 1, f);

    fputc(0, f);
    fputc(0, f);
    fputc(0, f);
    for (int i = 1; i < (1 << bitDepth); ++i) {
        fputc(pal.r[i], f);
        fputc(pal.g[i], f);
        fputc(pal.b[i], f);
    }
}

bool gifWriter::writeFrame(const uint8_t* rgba, int w, int h, int delay, int bitDepth, bool dither)
{
    if (!f || !rgba || w != width || h != height || bitDepth < 2 || bitDepth > 8)
        return false;

    const uint8_t* lastFrame = firstFrame ? nullptr : oldImage;
    firstFrame = false;

    auto pal = std::make_unique<gifPalette>();
    pal->build(lastFrame, rgba, width, height, bitDepth, dither);
    if (dither)
        gifQuantiser::ditherImage(lastFrame, rgba, oldImage, width, height, *pal);
    else
        gifQuantiser::thresholdImage(lastFrame, rgba, oldImage, width, height, *pal);

    writeFrameHeader(delay, bitDepth, *pal);
    fputc(bitDepth, f); // minimum LZW code size
    auto lzw = std::make_unique<gifLzw>();
    return lzw->writeIndices(f, oldImage, width * height, bitDepth);
}

bool gifWriter::end()
{
    if (!f)
        return false;
    fputc(';', f);
    const bool ok = !ferror(f);
    const bool closed = fclose(f) == 0;
    f = nullptr;
    free(oldImage);
    oldImage = nullptr;
    return ok && closed;
}

long gifWriter::size() const
{
    return f ? ftell(f) : -1;
}
