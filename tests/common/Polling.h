#pragma once

#include <functional>

// Polls until the condition holds or the time is up, serving events meanwhile.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs);
