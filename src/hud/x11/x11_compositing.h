#pragma once

// True when some client owns the _NET_WM_CM_S0 selection of the application's X connection.
[[nodiscard]] bool x11CompositingManagerRunning();
