#pragma once

#include <QString>

class QProgressDialog;

// Writes a copy of a library recording to a place the user chose: remuxed
// into an ordinary MP4 with its index in front, or byte for byte. The dialog
// runs from 0 to 100 percent of the source's size whatever that size is, and
// its cancel button stops the work. A cancelled copy is removed, so no half
// file is left where the user expects a recording.
class SavedCopy
{
public:
    enum Result { Saved, Failed, Cancelled };

    SavedCopy(const QString& source, const QString& target, QProgressDialog& dialog);

    Result remux();
    Result copy();
    // Why the last run did not save; empty after a success.
    const QString& reason() const { return why; }

private:
    // Shows <done> bytes of the source as percent; false once the user cancelled.
    bool showProgress(qint64 done);
    static int remuxProgress(void* self, int mebibytes);
    Result finish(Result result);

    QString source, target;
    QProgressDialog& dialog;
    qint64 sourceSize = 0;
    QString why;
};
