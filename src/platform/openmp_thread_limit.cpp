#include "platform/openmp_thread_limit.h"

#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace Platform {

void restartWithSingleThreadedOpenMP(char **argv)
{
    if (std::getenv("OMP_THREAD_LIMIT"))
        return;
    ::setenv("OMP_THREAD_LIMIT", "1", 1);
    // The real path rather than /proc/self/exe, which would name the process "exe" in ps and top.
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0)
        return;
    path[length] = '\0';
    ::execv(path, argv);
}

} // namespace Platform
