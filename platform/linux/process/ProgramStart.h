#pragma once

#include "platform/ChildProcess.h"
#include "platform/linux/process/SpawnedProcess.h"

#include <memory>

/// Starts the program: `input` (none: this process's own) becomes its standard input, `output` its
/// standard output and error. It gets no other descriptor and every signal as at the start of a
/// session. The byte copies of the arguments and the environment are wiped before this returns.
[[nodiscard]] Result<std::unique_ptr<SpawnedProcess>, ChildProcessError>
startProgram(const ChildProcessRequest &request, const Descriptor *input, const Descriptor &output);

/// The system's English text for an error number.
[[nodiscard]] QString errorText(int number);
