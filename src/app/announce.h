#pragma once

#include "hud/progress_hud_options.h"

#include <QString>

class ProgressHUD;

// Shows a status text on the HUD and hides it after the text's display time. Every call schedules its own hide;
// the first one to fire cancels the others.
void announce(ProgressHUD &hud, const QString &status, ProgressHUDMode mode);
