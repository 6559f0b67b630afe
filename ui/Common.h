#pragma once

// The shared enumerations of namespace Common, as the interface code includes them.
#include "CommonTypes.h"
