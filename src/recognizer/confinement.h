#pragma once

#include <sys/types.h>

#include <optional>

namespace Recognizer {

// What the helper gives up at start, while it has one thread. It reads captures and writes text: it needs no
// network, no privileges and no descriptor beyond standard input, output and error.

// Dies with the parent (SIGKILL). False when expectedParent is given and is no longer the parent: it died
// before the request was made, and no signal will come.
[[nodiscard]] bool endWithParent(std::optional<pid_t> expectedParent);

// No privileges gained through exec, no core dump (an abort inside an engine must not write the capture to disk),
// no inherited descriptor beyond 0, 1 and 2.
void dropRights();

enum class NetworkIsolation {
    ownNetwork,        // a network namespace of its own, with no interface
    ownUserAndNetwork, // the same, inside a user namespace of its own (the way open to unprivileged users)
    none,              // the kernel refused both
};

// Leaves the network: a namespace of its own, or, where the kernel refuses, none and the helper runs on.
[[nodiscard]] NetworkIsolation isolateNetwork();

[[nodiscard]] const char *describe(NetworkIsolation);

} // namespace Recognizer
