#pragma once

// Copies a fragmented MP4 recording into an ordinary MP4 with its index in
// front, without re-encoding. Video, audio and subtitle streams are kept,
// data streams dropped. progress(ctx, step) is called once per mebibyte read
// with a growing step; a negative answer cancels.
//
// Result: 0 success (also when a path is missing, see remuxMessage()),
// 2 cancelled by the user, 1 any other failure. The output file stays in
// every case; removing it after a cancel is the caller's business.
// Not reentrant: the latest message lives in one process-wide buffer.
int remuxFile(const char* in, const char* out, void* ctx, int (*progress)(void*, int));

// The latest message of remuxFile, empty when the last run said nothing.
const char* remuxMessage();
