#pragma once

// Publishes the view models to QML in module "ViewModel" 1.0: FlyingViewModel,
// VideoViewModel, WebCamViewModel and HelpToolTipViewModel. Called once at
// start-up, before the engine exists.
void registerViewModelTypes();
