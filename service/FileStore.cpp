#include "FileStore.h"

#include "JsonFile.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QRandomGenerator>

FileStore::FileStore(const QString& dataDir)
    : dataDir(dataDir)
    , path(QDir(dataDir).filePath("files.json"))
{
    const QJsonArray list = JsonFile::load(path).value("files").toArray();
    for (const auto& v : list)
        files.append(fromJson(v.toObject()));
}

std::optional<StoredFile> FileStore::find(const QString& owner, quint32 fileId) const
{
    for (const StoredFile& f : files)
        if (f.owner == owner && f.fileId == fileId)
            return f;
    return std::nullopt;
}

std::optional<StoredFile> FileStore::findByShortCode(const QString& code) const
{
    for (const StoredFile& f : files)
        if (!code.isEmpty() && f.shortCode == code)
            return f;
    return std::nullopt;
}

FileStore::Append FileStore::appendMedia(StoredFile& file, qint64 startPos, const QByteArray& bytes)
{
    if (startPos != 0 && startPos != file.size)
        return Append::PositionMismatch;
    if (startPos == 0 && (file.size > 0 || file.uploaded)) {
        // Starting over: the record forgets the old bytes before they are overwritten.
        file.size = 0;
        file.uploaded = false;
        file.previewUploaded = false;
        if (!save(file))
            return Append::IoError;
    }
    QDir().mkpath(ownerDir(file.owner));
    QFile out(mediaPath(file));
    if (!out.open(QIODevice::ReadWrite)) {
        qWarning().noquote() << "[FS]: can't open" << out.fileName() << out.errorString();
        return Append::IoError;
    }
    // Bytes past the recorded size are left over from a write whose record never
    // made it to disk; they are dropped before the range goes in.
    if (!out.resize(startPos) || !out.seek(startPos) || out.write(bytes) != bytes.size() || !out.flush()) {
        qWarning().noquote() << "[FS]: can't write" << out.fileName() << out.errorString();
        return Append::IoError;
    }
    file.size = startPos + bytes.size();
    return Append::Done;
}

bool FileStore::writePreview(StoredFile& file, const QString& ext, const QByteArray& bytes)
{
    QDir().mkpath(ownerDir(file.owner));
    if (!file.previewExt.isEmpty() && file.previewExt != ext)
        QFile::remove(previewPath(file));
    file.previewExt = ext;
    QFile out(previewPath(file));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) || out.write(bytes) != bytes.size() || !out.flush()) {
        qWarning().noquote() << "[FS]: can't write" << out.fileName() << out.errorString();
        return false;
    }
    file.previewSize = bytes.size();
    return true;
}

bool FileStore::save(const StoredFile& file)
{
    for (StoredFile& f : files) {
        if (f.owner == file.owner && f.fileId == file.fileId) {
            f = file;
            return persist();
        }
    }
    files.append(file);
    return persist();
}

bool FileStore::remove(const QString& owner, quint32 fileId)
{
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (files[i].owner == owner && files[i].fileId == fileId) {
            const StoredFile gone = files.takeAt(i);
            // The record goes first: a kill in between leaves stray bytes, never a link to nothing.
            const bool ok = persist();
            QFile::remove(mediaPath(gone));
            if (!gone.previewExt.isEmpty())
                QFile::remove(previewPath(gone));
            return ok;
        }
    }
    return false;
}

bool FileStore::persist()
{
    QJsonArray list;
    for (const StoredFile& f : files)
        list.append(toJson(f));
    return JsonFile::save(path, QJsonObject{{"files", list}});
}

QString FileStore::ownerDir(const QString& owner) const
{
    return QDir(dataDir).filePath("files/" + owner);
}

QString FileStore::mediaPath(const StoredFile& file) const
{
    return ownerDir(file.owner) + '/' + QString::number(file.fileId) + ".media";
}

QString FileStore::previewPath(const StoredFile& file) const
{
    return ownerDir(file.owner) + '/' + QString::number(file.fileId) + ".preview." + file.previewExt;
}

QString FileStore::newShortCode()
{
    static const char alphabet[] = "abcdefghijkmnpqrstuvwxyz23456789";
    QString code;
    for (int i = 0; i < 10; ++i)
        code += QChar::fromLatin1(alphabet[QRandomGenerator::system()->bounded(32)]);
    return code;
}

StoredFile FileStore::fromJson(const QJsonObject& o)
{
    StoredFile f;
    f.owner = o.value("owner").toString();
    f.fileId = static_cast<quint32>(o.value("file_id").toDouble());
    f.fileName = o.value("file_name").toString();
    f.pseudoName = o.value("file_pseudoname").toString();
    f.size = static_cast<qint64>(o.value("size").toDouble());
    f.fullSize = static_cast<qint64>(o.value("fullsize").toDouble());
    f.finalized = o.value("finalized").toBool();
    f.uploaded = o.value("uploaded").toBool();
    f.uploadKey = o.value("upload_key").toString();
    f.shortCode = o.value("short_code").toString();
    f.previewExt = o.value("preview_ext").toString();
    f.previewSize = static_cast<qint64>(o.value("preview_size").toDouble());
    f.previewUploaded = o.value("preview_uploaded").toBool();
    return f;
}

QJsonObject FileStore::toJson(const StoredFile& f)
{
    return {{"owner", f.owner},
            {"file_id", static_cast<double>(f.fileId)},
            {"file_name", f.fileName},
            {"file_pseudoname", f.pseudoName},
            {"size", static_cast<double>(f.size)},
            {"fullsize", static_cast<double>(f.fullSize)},
            {"finalized", f.finalized},
            {"uploaded", f.uploaded},
            {"upload_key", f.uploadKey},
            {"short_code", f.shortCode},
            {"preview_ext", f.previewExt},
            {"preview_size", static_cast<double>(f.previewSize)},
            {"preview_uploaded", f.previewUploaded}};
}
