#pragma once

#include <cstdint>
#include <cstdio>

struct gifPalette;

// Writes an animated GIF89a that loops for ever, one frame at a time, from
// RGBA pixels. Each frame gets its own 256-entry colour table; entry 0 is
// transparent and marks pixels that did not change since the frame before,
// which keeps screen recordings small. Plain C++, no media or GUI library.
//
//   gifWriter w;
//   if (w.begin("a.gif", 320, 240)) { w.writeFrame(rgba, 320, 240, 20); w.end(); }
struct gifWriter
{
    FILE* f = nullptr;
    uint8_t* oldImage = nullptr; // previous frame: red, green, blue, palette index per pixel
    bool firstFrame = true;
    int width = 0;
    int height = 0;

    ~gifWriter();

    // Creates the file and writes the header. On failure the writer stays
    // closed and every later call does nothing.
    bool begin(const char* fileName, int width, int height);
    // Appends one frame; delay is in hundredths of a second, bitDepth 2 to 8.
    // The frame must have the size given to begin.
    bool writeFrame(const uint8_t* rgba, int width, int height, int delay, int bitDepth = 8, bool dither = true);
    // Writes the trailer, closes the file and frees the previous frame.
    bool end();

    bool isOpen() const { return f != nullptr; }
    // Bytes written so far, or -1 when closed.
    long size() const;

private:
    void writeHeader();
    void writeFrameHeader(int delay, int bitDepth, const gifPalette& pal);
    void writeLittleEndian16(int value);
};
