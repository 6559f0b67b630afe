#pragma once

#include <QDate>
#include <QObject>

// Geometry for QML (published as `Dimensions`): the design unit, which turns
// a size on the 2.5 times larger design canvas into pixels, and the geometry
// of the screens.
class DimensionsBase : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int availableWidth READ availableWidth CONSTANT)
    Q_PROPERTY(int availableHeight READ availableHeight CONSTANT)
    Q_PROPERTY(double devicePixelRatio READ devicePixelRatio CONSTANT)

public:
    explicit DimensionsBase(QObject* parent = nullptr);

    int availableWidth() const { return int(m_availableWidth); }
    int availableHeight() const { return int(m_availableHeight); }
    double devicePixelRatio() const { return m_devicePixelRatio; }

    // ceil(v * 0.4): a design unit in pixels.
    Q_INVOKABLE int x(int valX) const;
    Q_INVOKABLE int y(int valY) const;

    // The primary screen's virtual desktop.
    Q_INVOKABLE int getVirtualX() const;
    Q_INVOKABLE int getVirtualY() const;
    Q_INVOKABLE int getVirtualWidth() const;
    Q_INVOKABLE int getVirtualHeight() const;
    // The primary screen's available area.
    Q_INVOKABLE int getAvailableX() const;
    Q_INVOKABLE int getAvailableY() const;
    Q_INVOKABLE int getAvailableWidth() const;
    Q_INVOKABLE int getAvailableHeight() const;
    // Size of the screen at a point, 0 where there is none.
    Q_INVOKABLE int getCurrentScreenHeight(int x, int y) const;
    Q_INVOKABLE int getCurrentScreenWidth(int x, int y) const;

    Q_INVOKABLE int screensCount() const;
    // A screen's geometry; 0 for an index outside the list.
    Q_INVOKABLE int screenGeometryX(int index) const;
    Q_INVOKABLE int screenGeometryY(int index) const;
    Q_INVOKABLE int screenGeometryWidth(int index) const;
    Q_INVOKABLE int screenGeometryHeight(int index) const;

    Q_INVOKABLE QString applicationDirPath() const;
    Q_INVOKABLE QDate emptyDate() const { return QDate(); }

private:
    double m_availableWidth = 0;
    double m_availableHeight = 0;
    double m_devicePixelRatio = 1.0;
    double m_scale = 0.4;
};
