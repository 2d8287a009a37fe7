#pragma once

#include "app/ctl/SSControlCommand.h"

/// The help texts, made from the table of commands.
namespace SSControlHelp {

[[nodiscard]] QString programName();

/// Options that every command takes.
[[nodiscard]] std::span<const SSControlOption> globalOptions();

[[nodiscard]] QString general();
[[nodiscard]] QString ofCommand(const SSControlCommand &command);

} // namespace SSControlHelp
