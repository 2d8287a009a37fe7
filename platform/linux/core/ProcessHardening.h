#pragma once

/// Keeps the process's memory to itself: no core dump, and no reading of it by other processes of
/// the same user. Call first of all.
void hardenProcess();
