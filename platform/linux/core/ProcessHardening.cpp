#include "platform/linux/core/ProcessHardening.h"

#include <sys/prctl.h>

void hardenProcess()
{
    // Not by the core size limit: the browser that we start would inherit it, and a crash handler
    // in the kernel's core pattern takes no notice of it.
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}
