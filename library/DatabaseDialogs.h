#pragma once

#include <QMessageBox>
#include <QString>
#include <functional>

// Message boxes of the media database. They appear only when a widget
// application runs; without one (tools, tests) their text goes to the log, so
// nothing waits for a click that can never come.

// Replaces the user's answer to the database removal question: the function
// returns true for Yes. An empty function brings back the question box.
void setDatabaseQuestionAnswer(std::function<bool()> answer);

// Asks a Yes/No question; true means Yes. Without a widget application and
// without an answer set above, the answer is No, which keeps the file.
bool askDatabaseQuestion(const QString& title, const QString& text);

// A critical box with a single button. From a thread other than the
// application's, the box is queued to the application's thread.
void showDatabaseCritical(const QString& title, const QString& text, QMessageBox::StandardButton button);
