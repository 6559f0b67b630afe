#pragma once

#include <QAbstractNativeEventFilter>
#include <QVector>

class AppController;

// Watches the X server for a compositing manager coming or going (the owner
// of the _NET_WM_CM_S<n> selection changes) and lets the controller's
// skinTimer collapse bursts of such changes into one re-check.
class NativeFilter : public QAbstractNativeEventFilter
{
public:
    explicit NativeFilter(AppController* controller);

    // Asks the X server for selection-owner notifications. False without an
    // X11 connection or without the XFixes extension.
    bool watchCompositingManager();

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    AppController* m_controller;
    int m_selectionNotifyType = -1;  // XFixes first event + selection notify
    QVector<quint32> m_cmSelections; // the _NET_WM_CM_S<n> atoms
};
