import QtQuick

// The scene: a plain object whose properties are the program's windows.
QtObject {
    objectName: "rootObj"
}
