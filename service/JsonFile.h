#pragma once

#include <QJsonObject>
#include <QString>

// A JSON object kept in one file. Writes go through a temporary file that
// replaces the old one only when complete, so a killed process leaves either
// the old or the new state, never half of one.
namespace JsonFile {
// An absent file reads as an empty object; a damaged one too, with a log line.
QJsonObject load(const QString& path);
bool save(const QString& path, const QJsonObject& object);
} // namespace JsonFile
