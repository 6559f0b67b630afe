#pragma once

// How the QML scene is drawn. On an X server without direct rendering (no
// DRI2 or DRI3, as on Xvfb or over a remote display) OpenGL would be emulated
// on the CPU by the software rasteriser, which costs some 70 MB of code and
// data and more CPU than Qt Quick's own software renderer needs for these few
// small windows. There the scene uses the software renderer; elsewhere, and
// whenever QT_QUICK_BACKEND chooses one, the toolkit's default stands.
void chooseSceneBackend();
