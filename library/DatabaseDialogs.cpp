#include "DatabaseDialogs.h"

#include <QApplication>
#include <QDebug>
#include <QMutex>
#include <QThread>

namespace {
QMutex answerLock;
std::function<bool()> answerOverride;

QApplication* widgetApplication()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance());
}
} // namespace

void setDatabaseQuestionAnswer(std::function<bool()> answer)
{
    QMutexLocker locker(&answerLock);
    answerOverride = std::move(answer);
}

bool askDatabaseQuestion(const QString& title, const QString& text)
{
    std::function<bool()> answer;
    {
        QMutexLocker locker(&answerLock);
        answer = answerOverride;
    }
    if (answer)
        return answer();

    QApplication* app = widgetApplication();
    if (app && QThread::currentThread() == app->thread())
        return QMessageBox::question(nullptr, title, text, QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;

    qWarning().noquote() << "[SQL]:" << title << text << "(no dialog possible, answering No)";
    return false;
}

void showDatabaseCritical(const QString& title, const QString& text, QMessageBox::StandardButton button)
{
    QApplication* app = widgetApplication();
    if (!app) {
        qWarning().noquote() << "[SQL]:" << title << text;
        return;
    }
    if (QThread::currentThread() == app->thread()) {
        QMessageBox::critical(nullptr, title, text, button);
        return;
    }
    // Widgets live on the application's thread only; a worker must not block
    // on a box there either, since the main thread may be waiting for it.
    qWarning().noquote() << "[SQL]:" << title << text;
    QMetaObject::invokeMethod(
        app, [title, text, button]() { QMessageBox::critical(nullptr, title, text, button); }, Qt::QueuedConnection);
}
