/* Preloaded, lets the monotonic clock of a program run ahead by what another process writes into
 * the file that TURNED_CLOCK names: one 64-bit number of seconds. Timers are looked at again when
 * the program next wakes. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static const volatile int64_t *ahead;

__attribute__((constructor)) static void open_clock(void)
{
    const char *path = getenv("TURNED_CLOCK");
    const int file = path ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0)
        return;
    void *shared = mmap(NULL, sizeof *ahead, PROT_READ, MAP_SHARED, file, 0);
    close(file);
    if (shared != MAP_FAILED)
        ahead = shared;
}

int clock_gettime(clockid_t clock, struct timespec *now)
{
    const int result = (int)syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && clock == CLOCK_MONOTONIC && ahead)
        now->tv_sec += *ahead;
    return result;
}
