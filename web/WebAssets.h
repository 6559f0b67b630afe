#pragma once

#include <QString>

// Where the gallery and player pages and their scripts are found at run time:
// next to the executable in an installed build, or in the source tree's
// assets/ folder for a developer build.
namespace WebAssets {
QString pagesFolder();
} // namespace WebAssets
