#pragma once

namespace Platform {

// libgomp reads OMP_THREAD_LIMIT when the process loads it, before main(). Without a limit, Debian's
// libtesseract starts OpenMP workers that make recognition several times slower on small machines. Call first
// thing in main(): when the limit is not set, the program starts again, in place, with it set to 1. Returns
// only when no restart was needed or it failed (recognition is then just slower).
void restartWithSingleThreadedOpenMP(char **argv);

} // namespace Platform
