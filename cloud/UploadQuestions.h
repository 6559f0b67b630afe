#pragma once

#include <QMessageBox>
#include <QString>
#include <functional>

// The uploader's questions to the user about broken or missing files. They
// are modal boxes on the main thread; without a widget application (tools,
// tests) nobody can answer, so no answer comes back and nothing is removed.

using UploadQuestionAnswer = std::function<QMessageBox::StandardButton(const QString& title, const QString& text)>;

// Replaces the user's answer: the function gets the box's title and text and
// returns the button pressed. An empty function brings back the box.
void setUploadQuestionAnswer(UploadQuestionAnswer answer);

// Shows a question box and returns the button pressed; QMessageBox::NoButton
// when the question could not be put.
QMessageBox::StandardButton askUploadQuestion(const QString& title, const QString& text,
                                              QMessageBox::StandardButtons buttons,
                                              QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
