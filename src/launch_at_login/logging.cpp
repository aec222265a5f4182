#include "launch_at_login/logging.h"

Q_LOGGING_CATEGORY(lcLaunchAtLogin, "app.scrivlet.LaunchAtLogin.main")
