#pragma once

#include <QObject>
#include <QTemporaryDir>

class QQmlEngine;

// Set-up of the view model Quick Tests. The view models place windows by the
// geometry of the screens, so the tests run on two screens side by side:
// "left" 1280x720 at (0,0), the primary, and "right" 1024x768 at (1280,0).
// Xvfb can't put two screens side by side (its Xinerama heads all sit at the
// origin and it ignores RandR monitors), so the screens come from Qt's own
// offscreen platform. The view models are registered as the program does it,
// and the settings are the program's, under the test's own HOME.
class ViewModelQuickTestSetup : public QObject
{
    Q_OBJECT

public:
    ViewModelQuickTestSetup();

public slots:
    void applicationAvailable();
    void qmlEngineAvailable(QQmlEngine* engine);

private:
    QTemporaryDir m_dir;
};
