#include "app/announce.h"

#include "hud/display_time.h"
#include "hud/progress_hud.h"

#include <chrono>
#include <cmath>

void announce(ProgressHUD &hud, const QString &status, ProgressHUDMode mode)
{
    hud.show(status, std::move(mode));
    const auto delay = std::chrono::milliseconds(std::llround(displayTime(status) * 1000.0));
    hud.scheduleHideDelayed(delay, 1.0);
}
