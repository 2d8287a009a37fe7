#pragma once

#include <QByteArrayView>

#include <span>

class SSDiagnosticLog;

/// The program's entry, apart from the making of its platform.
namespace SSEntry {

/// Whether an argument after the program's name is "--enrollMenuExtra" in any letter case.
/// Arguments that are not UTF-8 are passed over.
[[nodiscard]] int testEnrollMenuExtra(std::span<const char *const> arguments);

/// Creates the delegate, runs the application's main event loop and returns when it has ended.
void startEnrollMenuExtra(bool showExtras);

/// What main does once a platform is installed; the exit status. `diagnostics` is what the platform
/// was made with.
[[nodiscard]] int run(std::span<const char *const> arguments, const SSDiagnosticLog &diagnostics);

} // namespace SSEntry
