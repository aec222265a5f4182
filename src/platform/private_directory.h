#pragma once

#include <QString>

#include <optional>
#include <variant>

namespace Platform {

// A directory only this user can enter, for files other users must not read or plant: capture images and the
// single-instance lock and socket. The path ends with "/".
struct PrivateDirectory {
    QString path;
};

// Why there is no private directory: what is wrong and what the user can do about it, one sentence.
struct NoPrivateDirectory {
    QString reason;
};

// Works the directory out: $XDG_RUNTIME_DIR/scrivlet when $XDG_RUNTIME_DIR is an absolute path to a directory of
// ours that others cannot write to (a refused one is logged, with the reason), otherwise one folder per user,
// <temporary folder>/scrivlet-<uid>, made or verified and closed to others. A fallback folder that cannot be ours
// (another user's, a link) is refused rather than replaced by one of a different name: the single instance relies
// on every start finding the same directory. Called once, by main().
[[nodiscard]] std::variant<PrivateDirectory, NoPrivateDirectory> privateRuntimeDirectory();

// Empty while path is still private: a real directory (not a link), owned by us, mode 0700 or stricter, inside a
// directory owned by us or root that others cannot write to unless it is sticky. Otherwise what is wrong and what
// to check, one sentence. Cheap enough for every capture.
[[nodiscard]] std::optional<QString> privateDirectoryProblem(const QString &path);

} // namespace Platform
