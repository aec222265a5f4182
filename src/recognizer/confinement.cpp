#include "recognizer/confinement.h"

#include <csignal>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Recognizer {

bool endWithParent(std::optional<pid_t> expectedParent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    return !expectedParent || ::getppid() == *expectedParent;
}

void dropRights()
{
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::close_range(3, ~0U, 0);
}

NetworkIsolation isolateNetwork()
{
    if (::unshare(CLONE_NEWNET) == 0)
        return NetworkIsolation::ownNetwork;
    // Needs a single-threaded process, which the helper still is.
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0)
        return NetworkIsolation::ownUserAndNetwork;
    return NetworkIsolation::none;
}

const char *describe(NetworkIsolation isolation)
{
    switch (isolation) {
    case NetworkIsolation::ownNetwork:
        return "network: a namespace of its own";
    case NetworkIsolation::ownUserAndNetwork:
        return "network: a namespace of its own, in a user namespace of its own";
    case NetworkIsolation::none:
        return "network: reachable, the kernel refused a namespace of its own";
    }
    return "";
}

} // namespace Recognizer
