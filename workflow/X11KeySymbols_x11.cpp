#include "X11KeySymbols.h"

#include <QChar>
#include <Qt>

#include <X11/XF86keysym.h>
#include <X11/keysym.h>

namespace {

struct KeyPair
{
    int qtKey;
    quint32 keysym;
};

// Named keys. Back-tab is the Tab key with Shift, so it grabs the Tab key.
constexpr KeyPair kNamedKeys[] = {
    {Qt::Key_Escape, XK_Escape},
    {Qt::Key_Tab, XK_Tab},
    {Qt::Key_Backtab, XK_Tab},
    {Qt::Key_Backspace, XK_BackSpace},
    {Qt::Key_Return, XK_Return},
    {Qt::Key_Enter, XK_KP_Enter},
    {Qt::Key_Insert, XK_Insert},
    {Qt::Key_Delete, XK_Delete},
    {Qt::Key_Pause, XK_Pause},
    {Qt::Key_Print, XK_Print},
    {Qt::Key_Clear, XK_Clear},
    {Qt::Key_Home, XK_Home},
    {Qt::Key_End, XK_End},
    {Qt::Key_Left, XK_Left},
    {Qt::Key_Up, XK_Up},
    {Qt::Key_Right, XK_Right},
    {Qt::Key_Down, XK_Down},
    {Qt::Key_PageUp, XK_Page_Up},
    {Qt::Key_PageDown, XK_Page_Down},
    {Qt::Key_CapsLock, XK_Caps_Lock},
    {Qt::Key_NumLock, XK_Num_Lock},
    {Qt::Key_ScrollLock, XK_Scroll_Lock},
    {Qt::Key_Menu, XK_Menu},
    {Qt::Key_Help, XK_Help},
    {Qt::Key_Forward, XF86XK_Forward},
    {Qt::Key_Stop, XF86XK_Stop},
    {Qt::Key_Refresh, XF86XK_Refresh},
    {Qt::Key_VolumeDown, XF86XK_AudioLowerVolume},
    {Qt::Key_VolumeMute, XF86XK_AudioMute},
    {Qt::Key_VolumeUp, XF86XK_AudioRaiseVolume},
    {Qt::Key_MediaPlay, XF86XK_AudioPlay},
    {Qt::Key_MediaStop, XF86XK_AudioStop},
    {Qt::Key_MediaPrevious, XF86XK_AudioPrev},
    {Qt::Key_MediaNext, XF86XK_AudioNext},
    {Qt::Key_HomePage, XF86XK_HomePage},
    {Qt::Key_Favorites, XF86XK_Favorites},
    {Qt::Key_Search, XF86XK_Search},
    {Qt::Key_LaunchMail, XF86XK_Mail},
    {Qt::Key_LaunchMedia, XF86XK_AudioMedia},
    {Qt::Key_Launch0, XF86XK_Launch0},
    {Qt::Key_Launch1, XF86XK_Launch1},
    {Qt::Key_Touroku, XK_Touroku},
    {Qt::Key_Massyo, XK_Massyo},
    {Qt::Key_Mode_switch, XK_Mode_switch},
    {Qt::Key_Select, XK_Select},
    {Qt::Key_Cancel, XK_Cancel},
    {Qt::Key_Printer, XK_Print},
    {Qt::Key_Execute, XK_Execute},
    {Qt::Key_Sleep, XF86XK_Sleep},
    {Qt::Key_Play, XF86XK_AudioPlay},
};

} // namespace

namespace X11KeySymbols {

quint32 keysymForQtKey(int qtKey)
{
    if (qtKey > 0 && qtKey < 0x10000) {
        // Qt names letter keys by their capital; the key's own (first) symbol is the small letter.
        const char16_t ch = QChar(char16_t(qtKey)).toLower().unicode();
        if (ch >= 0x20 && ch <= 0xff)
            return ch; // Latin-1 symbols equal their character
        return 0x01000000u | ch;
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24)
        return XK_F1 + quint32(qtKey - Qt::Key_F1);
    for (const KeyPair& pair : kNamedKeys) {
        if (pair.qtKey == qtKey)
            return pair.keysym;
    }
    return 0;
}

} // namespace X11KeySymbols
