#pragma once

// Publishes the interface controller's own types to QML: DimensionsBase as
// "DimensionsBase.Internals" 1.0, and the enumerations of UIController (its
// LoginState, and UpdateAppStatus of the port) as module "UIController" 1.0.
// Runs once at start-up, before the engine exists.
void registerInterfaceTypes();
