#pragma once

#include <QLoggingCategory>

// Failures of the module: "Failed to enable launch at login: <reason>", at critical level.
Q_DECLARE_LOGGING_CATEGORY(lcLaunchAtLogin)
