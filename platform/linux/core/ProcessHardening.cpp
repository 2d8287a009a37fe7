#include "platform/linux/core/ProcessHardening.h"

#include <sys/prctl.h>
#include <sys/resource.h>

void hardenProcess()
{
    // The limit alone does not keep a crash handler from being given the dump.
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}
