#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

// What the service holds about one uploaded file of one account.
struct StoredFile
{
    QString owner;
    quint32 fileId = 0;
    QString fileName;
    QString pseudoName;
    qint64 size = 0;     // bytes stored; the media file on disk may be longer after a kill
    qint64 fullSize = 0; // the size the client last announced
    bool finalized = false;
    bool uploaded = false;
    QString uploadKey;
    QString shortCode;
    QString previewExt;
    qint64 previewSize = 0;
    bool previewUploaded = false;
};

// Uploaded files: their records in files.json and their bytes under files/<owner>/.
// The record is written after the bytes, so it never claims more than is on disk.
class FileStore
{
public:
    enum class Append { Done, PositionMismatch, IoError };

    explicit FileStore(const QString& dataDir);

    std::optional<StoredFile> find(const QString& owner, quint32 fileId) const;
    std::optional<StoredFile> findByShortCode(const QString& code) const;
    QList<StoredFile> all() const { return files; }

    // Writes a range: at 0 the file starts over, otherwise it must follow the stored bytes.
    Append appendMedia(StoredFile& file, qint64 startPos, const QByteArray& bytes);
    bool writePreview(StoredFile& file, const QString& ext, const QByteArray& bytes);
    bool save(const StoredFile& file);
    bool remove(const QString& owner, quint32 fileId);

    QString mediaPath(const StoredFile& file) const;
    QString previewPath(const StoredFile& file) const;
    static QString newShortCode();
    // The record as kept in files.json.
    static QJsonObject toJson(const StoredFile& f);

private:
    bool persist();
    QString ownerDir(const QString& owner) const;
    static StoredFile fromJson(const QJsonObject& o);

    QString dataDir;
    QString path;
    QList<StoredFile> files;
};
