#pragma once

#include <QString>
#include <QtGlobal>
#include <cstdint>
#include <cstdio>

class ffmpegMux;

// The media file being written by the muxer. There is exactly one of these per
// process, which is why only one recording can run at a time. Its address is
// the opaque value of the custom AVIO context, so write_packet finds it there.
struct OutputState
{
    quint32 fileId = 0;           // file_id of the file
    quint32 segmentNumber = 0;    // seg_id of the next segment; ends as the segment count
    QString path;                 // full path of the file
    FILE* file = nullptr;         // appended to by write_packet
    quint64 position = 0;         // offset where the next segment starts
    ffmpegMux* session = nullptr; // owner; null is an error
};

extern OutputState outputState;

// Size of the AVIO buffer: a whole fragment of up to 2000000 bytes fits, so a
// fragment normally reaches write_packet as one call, i.e. one segment.
constexpr int kOutputBufferSize = 0x1fc000;

// Write callback of the AVIO context: appends to the file, forces the bytes to
// disk and only then enters them as one `segments` row. Returns size, or 0.
int write_packet(void* opaque, uint8_t* buf, int size);

// Size of the file on disk; 0 when it cannot be determined.
quint64 getFileSize(OutputState& state);

// fflush plus fdatasync: after this the bytes can be trusted by a reader.
// False when either step failed (a full disk often shows only here).
bool commitFile(FILE* file);
