#pragma once

#include <QSize>
#include <QThread>

// Finds out which H.264 encoders really open on this machine, at the largest
// display size and at 1080p. It only opens and closes encoder contexts and
// never encodes a frame; opening a hardware encoder can take seconds, which is
// why this is a thread of its own. The automatic codec choice reads `codecs`
// once the thread has finished; until then every result reads false.
class ffmpegVCodecTest : public QThread
{
    Q_OBJECT
public:
    // One row of the capability table.
    struct CodecRow
    {
        const char* codec;         // encoder name
        bool isHw;                 // hardware encoding asked for
        bool maxres = false;       // opened at the largest display size
        bool fallback1080 = false; // opened at the size reduced to 1920x1080
        // Either size worked.
        bool usable() const { return maxres || fallback1080; }
    };
    static constexpr int kRowCount = 4;

    explicit ffmpegVCodecTest(QObject* parent = nullptr);

    // Rows in the order of preference: "h264_mf" hardware, "h264_mf",
    // "libopenh264", "libx264".
    CodecRow codecs[kRowCount];

    // Width and height raised independently to the largest of any screen,
    // starting from 1920x1080; the start values without an application object.
    static QSize maxDisplaySize();
    // Fills the table for a display of the given size (what run does with
    // maxDisplaySize()). A row that fails at `size` is retried at no more
    // than 1920x1080, and that reduced size stays for the later rows.
    void testAll(QSize size);
    // Whether the named encoder opens at this size with this system's settings.
    static bool testCodec(const char* name, int width, int height, bool hw);

protected:
    void run() override;
};
