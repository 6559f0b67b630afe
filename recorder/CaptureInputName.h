#pragma once

#include <QByteArray>

// Input names of the form "lavfi:<graph>" stand in for live devices in tests
// and demos. A lavfi graph runs as fast as it is read, so it is paced to real
// time by the given filter ("realtime" or "arealtime") unless it has one.
namespace CaptureInputName {

inline bool isLavfi(const QByteArray& name)
{
    return name.startsWith("lavfi:");
}

inline QByteArray pacedLavfiGraph(const QByteArray& name, const char* pacer)
{
    QByteArray graph = name.mid(6);
    if (!graph.contains(pacer))
        graph += QByteArray(",") + pacer;
    return graph;
}

} // namespace CaptureInputName
