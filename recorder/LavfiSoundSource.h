#pragma once

#include "SystemSoundSource.h"

#include <QByteArray>

// A lavfi graph standing in for the system sound (a test tone, silence),
// paced to real time and delivered as 16-bit samples.
class LavfiSoundSource : public SystemSoundSource
{
public:
    // `name` is "lavfi:<graph>".
    explicit LavfiSoundSource(const QByteArray& name);

    int open(AudioParams& format) override;
    int read(AVFrame* frame, bool zeroed) override;

private:
    QByteArray graph;
    InputFormatContextPtr input;
    PacketPtr packet;
    AudioParams format;
};
