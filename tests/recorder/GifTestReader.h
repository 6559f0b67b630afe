#pragma once

// A small, independent GIF reader for the tests: walks the blocks of a file
// and decodes each frame's LZW data into palette indices, so that tests can
// see what a full decoder hides (transparent indices, colour tables, the
// order of blocks). Written against the GIF89a format, not the writer.

#include <QByteArray>
#include <QFile>
#include <QVector>

struct GifTestFrame
{
    int delay = -1;
    int flags = -1; // graphic control packed byte
    int transparentIndex = -1;
    int left = 0, top = 0, width = 0, height = 0;
    int descriptorFlags = 0;
    QByteArray colourTable; // 3 bytes per entry
    int minCodeSize = 0;
    QVector<int> indices; // one per pixel, row order
    bool decodedOk = false;
};

struct GifTestFile
{
    QByteArray signature;
    int width = 0, height = 0;
    int screenFlags = 0;
    bool loops = false;
    int loopCount = -1;
    QVector<GifTestFrame> frames;
    bool trailerSeen = false;
    bool wellFormed = false;
};

class GifTestReader
{
public:
    static GifTestFile read(const QString& path)
    {
        QFile file(path);
        GifTestFile out;
        if (!file.open(QIODevice::ReadOnly))
            return out;
        GifTestReader r(file.readAll());
        r.parse(out);
        return out;
    }

private:
    explicit GifTestReader(QByteArray bytes)
        : data(std::move(bytes))
    {
    }

    int byte()
    {
        if (pos >= data.size()) {
            ok = false;
            return 0;
        }
        return quint8(data[pos++]);
    }
    int word()
    {
        const int lo = byte();
        return lo | (byte() << 8);
    }
    QByteArray take(int n)
    {
        if (pos + n > data.size()) {
            ok = false;
            return {};
        }
        QByteArray b = data.mid(pos, n);
        pos += n;
        return b;
    }
    QByteArray subBlocks()
    {
        QByteArray all;
        for (int len = byte(); ok && len; len = byte())
            all += take(len);
        return all;
    }

    void parse(GifTestFile& out)
    {
        out.signature = take(6);
        out.width = word();
        out.height = word();
        out.screenFlags = byte();
        byte();
        byte();
        if (out.screenFlags & 0x80)
            take(3 * (1 << ((out.screenFlags & 7) + 1)));
        GifTestFrame pending;
        while (ok) {
            const int intro = byte();
            if (!ok)
                break;
            if (intro == ';') {
                out.trailerSeen = true;
                out.wellFormed = pos == data.size();
                return;
            }
            if (intro == 0x21) {
                const int label = byte();
                if (label == 0xf9) {
                    const QByteArray gce = subBlocks();
                    if (gce.size() == 4) {
                        pending.flags = quint8(gce[0]);
                        pending.delay = quint8(gce[1]) | (quint8(gce[2]) << 8);
                        pending.transparentIndex = (pending.flags & 1) ? quint8(gce[3]) : -1;
                    }
                } else if (label == 0xff) {
                    const QByteArray app = subBlocks();
                    if (app.startsWith("NETSCAPE2.0") && app.size() == 14) {
                        out.loops = true;
                        out.loopCount = quint8(app[12]) | (quint8(app[13]) << 8);
                    }
                } else {
                    subBlocks();
                }
            } else if (intro == 0x2c) {
                GifTestFrame f = pending;
                pending = GifTestFrame();
                f.left = word();
                f.top = word();
                f.width = word();
                f.height = word();
                f.descriptorFlags = byte();
                if (f.descriptorFlags & 0x80)
                    f.colourTable = take(3 * (1 << ((f.descriptorFlags & 7) + 1)));
                f.minCodeSize = byte();
                const QByteArray lzw = subBlocks();
                f.decodedOk = decode(lzw, f);
                out.frames.append(f);
            } else {
                return;
            }
        }
    }

    static bool decode(const QByteArray& bytes, GifTestFrame& f)
    {
        const int clear = 1 << f.minCodeSize;
        const int end = clear + 1;
        QVector<QVector<int>> table;
        auto reset = [&] {
            table.clear();
            for (int i = 0; i < clear + 2; ++i)
                table.append(QVector<int>{i});
        };
        reset();
        int codeSize = f.minCodeSize + 1;
        qint64 bitPos = 0;
        const qint64 totalBits = qint64(bytes.size()) * 8;
        int prev = -1;
        const int wanted = f.width * f.height;
        while (bitPos + codeSize <= totalBits) {
            int code = 0;
            for (int i = 0; i < codeSize; ++i, ++bitPos)
                code |= ((quint8(bytes[int(bitPos / 8)]) >> (bitPos % 8)) & 1) << i;
            if (code == clear) {
                reset();
                codeSize = f.minCodeSize + 1;
                prev = -1;
                continue;
            }
            if (code == end)
                break;
            QVector<int> entry;
            if (code < table.size())
                entry = table[code];
            else if (code == table.size() && prev >= 0)
                entry = table[prev] + QVector<int>{table[prev][0]};
            else
                break; // trailing codes after the last pixel need not be exact
            if (f.indices.size() < wanted)
                f.indices += entry;
            if (prev >= 0 && table.size() < 4096)
                table.append(table[prev] + QVector<int>{entry[0]});
            if (table.size() == (1 << codeSize) && codeSize < 12)
                ++codeSize;
            prev = code;
        }
        if (f.indices.size() > wanted)
            f.indices.resize(wanted);
        return f.indices.size() == wanted;
    }

    QByteArray data;
    int pos = 0;
    bool ok = true;
};
