#include "UploadQuestions.h"

#include <QApplication>
#include <QDebug>
#include <QThread>

namespace {
UploadQuestionAnswer answerOverride;
}

void setUploadQuestionAnswer(UploadQuestionAnswer answer)
{
    answerOverride = std::move(answer);
}

QMessageBox::StandardButton askUploadQuestion(const QString& title, const QString& text,
                                              QMessageBox::StandardButtons buttons,
                                              QMessageBox::StandardButton defaultButton)
{
    if (answerOverride)
        return answerOverride(title, text);
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (app && QThread::currentThread() == app->thread())
        return QMessageBox::question(nullptr, title, text, buttons, defaultButton);
    qWarning().noquote() << "[UP]:" << title << text << "(no dialog possible, nothing is changed)";
    return QMessageBox::NoButton;
}
