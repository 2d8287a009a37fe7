#pragma once

#include <QString>

/// What several commands start from.
namespace SSControlSources {

/// The failure of a command that needs a connection point and has none.
[[nodiscard]] QString noConnectionPoint();

/// The login name of the user who runs the program, in its short form.
[[nodiscard]] QString currentUserName();

} // namespace SSControlSources
