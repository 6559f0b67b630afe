pragma Singleton
import QtQuick
import ComponentsBase 1.0

AppHelperBase {}
