#pragma once

#include "platform/linux/posix/Descriptor.h"

#include <sys/types.h>

/// A child process of ours, from its start until it is collected, so that it never stays a zombie:
/// whoever is destroyed before his child ends leaves a thread behind that waits for it.
class SpawnedProcess
{
public:
    /// Takes over a child that nobody else waits for.
    explicit SpawnedProcess(pid_t id);
    ~SpawnedProcess();
    SpawnedProcess(const SpawnedProcess &) = delete;
    SpawnedProcess &operator=(const SpawnedProcess &) = delete;

    /// Whether it is over; collects it then.
    [[nodiscard]] bool hasExited();
    /// Nothing for a child that is over: its number may be another process's by now.
    void sendSignal(int number);

    /// Becomes readable when the child is over; -1 when the system has no such descriptor to give,
    /// and hasExited() is to be asked from time to time.
    [[nodiscard]] int exitDescriptor() const { return m_exit.number(); }

private:
    pid_t m_id;
    Descriptor m_exit;
    bool m_hasExited = false;
};
