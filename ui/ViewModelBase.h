#pragma once

#include <QObject>

// The view models of the interface: native objects that QML instantiates, one
// per dialog. They hold the geometry arithmetic of their dialog; QML feeds
// them window rectangles and binds to their results.
namespace ViewModel {

class Base : public QObject
{
    Q_OBJECT

public:
    explicit Base(QObject* parent = nullptr)
        : QObject(parent)
    {
    }
};

} // namespace ViewModel
