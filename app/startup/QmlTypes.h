#pragma once

// Publishes the native types that the QML scene imports. Runs once, before
// the controller and the scene exist.
void registerQmlTypes();
