#pragma once

#include <QString>

#include <optional>

namespace Platform {

// A directory only this user can enter, for files other users must not read or plant: capture images and the
// single-instance socket. $XDG_RUNTIME_DIR/scrivlet where the session has a runtime directory, otherwise
// /tmp/scrivlet-<uid> when it can be verified to be ours, otherwise a fresh mkdtemp directory.
// The path ends with "/". Empty only when no private directory can be made at all.
std::optional<QString> privateRuntimeDirectory();

// Makes the directory (mode 0700) or checks that an existing one is a real directory, owned by this user and
// closed to others. Exposed for tests.
[[nodiscard]] bool ensurePrivateDirectory(const QString &path);

} // namespace Platform
