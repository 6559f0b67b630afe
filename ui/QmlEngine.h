#pragma once

#include <QQmlApplicationEngine>

// The engine of the main scene. It is replaced whenever the scene is rebuilt
// (desktop composition switched on or off); its destructor notes that in the log.
class QmlEngine : public QQmlApplicationEngine
{
    Q_OBJECT

public:
    using QQmlApplicationEngine::QQmlApplicationEngine;
    ~QmlEngine() override;
};
