#pragma once

// Publishes namespace Common to QML as the uncreatable module "Common" 1.0.
void registerCommonType();
