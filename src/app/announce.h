#pragma once

#include "hud/progress_hud_options.h"

#include <QString>

// Shows a status text on the shared HUD and hides it after the text's display time. Every call schedules its
// own hide; the first one to fire cancels the others.
void announce(const QString &status, ProgressHUDMode mode);
