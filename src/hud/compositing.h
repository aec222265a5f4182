#pragma once

// Whether the screen blends translucent windows over what lies below them. On X11 that takes a compositing
// manager (the owner of the _NET_WM_CM_S0 selection); other platforms compose always.
[[nodiscard]] bool isScreenComposited();
