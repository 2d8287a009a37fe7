#pragma once

#include "platform/Cryptography.h"

/// Empties the thread's queue of errors, so that no later call takes them for its own.
void clearOpenSslErrors();

/// The oldest error of the thread's queue, which is emptied. `otherwise` when there is none.
[[nodiscard]] CryptographyError takeOpenSslError(const QString &otherwise);
