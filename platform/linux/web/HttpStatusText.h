#pragma once

#include <QString>

/// A short lower-case text for an HTTP status code, as "not found" for 404; that of the code's
/// class for one that is not known. The server's own words are not used: anybody may have written
/// them.
[[nodiscard]] QString httpStatusText(int statusCode);
