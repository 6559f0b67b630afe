#pragma once

// Outside tools run to check what the program produced (sqlite3, ffprobe),
// and test data made from a seed. Polling and MP4 boxes come along, as most
// tests that run a tool also wait for something.

#include "Mp4Boxes.h"
#include "Polling.h"

#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QtTest>

// Runs a tool and returns its standard output, trimmed; empty on failure.
QString runTool(const QString& program, const QStringList& args);

// Statements run by the sqlite3 tool on a database file: its output, one line
// per row, columns separated by '|'. A failing tool is logged as a warning.
QString sqliteTool(const QString& databasePath, const QString& sql);
// The same output split into rows.
QStringList sqliteRowsOf(const QString& databasePath, const QString& statement);
int sqliteUserVersion(const QString& databasePath);
QString sqliteTableSql(const QString& databasePath, const QString& table);
QStringList sqliteColumns(const QString& databasePath, const QString& table);

// ffprobe's JSON report of the given entries, and the first stream of a type in it.
QJsonObject ffprobe(const QString& path,
                    const QString& entries = "stream=codec_type,codec_name,profile,pix_fmt,width,height,"
                                             "sample_rate,channels,duration:format=duration",
                    const QStringList& options = {});
QJsonObject streamOf(const QJsonObject& probed, const QString& type);
// One value of the first stream ("width", "codec_name", ...).
QString probeStreamValue(const QString& path, const QString& key);
// The codec names of all streams, in order.
QStringList streamCodecs(const QString& path);
// Whether ffmpeg decodes the whole file without an error or a warning.
bool decodesCleanly(const QString& path);

// A fragmented MP4 as the recorder writes it, made by ffmpeg: 3 s of H.264
// pictures of <size> and AAC sound, the index in the fragments. <extra>
// encoder options go before the output.
bool makeFragmentedRecording(const QString& path, const QStringList& extra = {}, const QString& size = "320x240");

// Bytes that look random but are the same for the same seed.
QByteArray randomBytes(qsizetype size, quint32 seed);
QByteArray fileDigest(const QString& path);
