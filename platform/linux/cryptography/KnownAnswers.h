#pragma once

/// A short self-test of what the adapter computes, against answers that others worked out.
namespace KnownAnswers {

/// The name of the first computation that gives a wrong answer; null when all are right.
[[nodiscard]] const char *firstWrong();

} // namespace KnownAnswers
