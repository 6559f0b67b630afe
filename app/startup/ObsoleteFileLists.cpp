// What earlier builds installed and this one no longer ships. The first row
// of each list is the trigger: a list whose first row is gone has been swept.
#include "ObsoleteFiles.h"

namespace {
const QVector<ObsoleteList> kObsoleteLists = {
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing .pdb files",
     {"qml/QtCore/libqtqmlcoreplugin.so.debug", "qml/QtCore/libqtqmlcoreplugind.so.debug",
      "qml/QtQuick/libqtquick2plugin.so.debug", "qml/QtQml/libqmlplugin.so.debug",
      "qml/QtMultimedia/libquickmultimediaplugin.so.debug"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing d.dll files",
     {"qml/Qt5Compat/GraphicalEffects/private/libqtgraphicaleffectsprivateplugind.so",
      "qml/QtQuick/Shapes/libqmlshapesplugind.so", "qml/QtQuick/Layouts/libqquicklayoutsplugind.so",
      "qml/QtQuick/Window/libquickwindowplugind.so"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing old libav*.dll files",
     {"libavcodec.so.57", "libavdevice.so.57", "libavfilter.so.6", "libavformat.so.57", "libavutil.so.55",
      "libpostproc.so.54", "libswresample.so.2", "libswscale.so.4", "libavresample.so.3"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing .pdb files",
     {"qml/QtWebChannel/libwebchannelplugind.so.debug", "qml/QtWebEngine/libqtwebengineplugind.so.debug",
      "qml/QtQuick/Dialogs/libqtquickdialogsplugind.so.debug"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing d.dll files",
     {"qml/QtQml/libqmlplugind.so", "qml/QtQml/Models.2/libmodelsplugind.so",
      "qml/QtQml/WorkerScript.2/libworkerscriptplugind.so", "qml/QtQuick/Controls/libqtquickcontrols2plugind.so"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing qml files",
     {"qml/Qt5Compat/GraphicalEffects/ThresholdMask.qml", "qml/Qt5Compat/GraphicalEffects/RadialBlur.qml",
      "qml/Qt5Compat/GraphicalEffects/ZoomBlur.qml", "qml/Qt5Compat/GraphicalEffects/MaskedBlur.qml"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing qt5 files",
     {"libQt5Core.so.5", "QtQml/libqmlplugin.so", "libQt5Gui.so.5", "libQt5Widgets.so.5", "libQt5Network.so.5",
      "libQt5Qml.so.5", "libQt5Quick.so.5", "libicudata.so.56", "libicuuc.so.56"}},
    {ObsoleteList::Folders,
     ObsoleteList::DirTrigger,
     "[main]: removing qt5 dirs",
     {"QtQuick", "scenegraph", "QtWebChannel", "QtQml", "platforminputcontexts", "virtualkeyboard", "translations"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing .dll files",
     {"libQt5NetworkAuth.so.5", "libQt5PrintSupport.so.5", "libQt5Positioning.so.5", "libQt5Sensors.so.5",
      "libQt5SerialPort.so.5"}},
    {ObsoleteList::Files,
     ObsoleteList::FileTrigger,
     "[main]: removing qml files",
     {"qml/QtMultimedia/Video.qml", "qml/QtQml/plugins.qmltypes", "qml/QtMultimedia/plugins.qmltypes",
      "qml/QtQuick/Controls.2/plugins.qmltypes"}},
    {ObsoleteList::Folders,
     ObsoleteList::FileTrigger,
     "[main]: removing unneeded directories",
     {"QtGraphicalEffects", "QtMultimedia", "QtQuick.2", "QtQuick/Controls.2/Imagine", "QtQuick/Controls.2/Universal"}},
};
} // namespace

const QVector<ObsoleteList>& obsoleteInstallLists()
{
    return kObsoleteLists;
}
