#pragma once

#include <QtGlobal>

// The X key symbol that stands for a Qt key: text keys by their character,
// named keys (function, cursor, editing, lock, media and launch keys) by
// table. 0 when the key has no symbol here.
namespace X11KeySymbols {

quint32 keysymForQtKey(int qtKey);

} // namespace X11KeySymbols
