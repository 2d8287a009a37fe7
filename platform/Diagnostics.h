#pragma once

#include <QString>

#include <functional>

/// How an adapter speaks to the program's log without knowing the logger. Level 1 is written at
/// the normal and the verbose log level, level 2 at the verbose one only. Callable from any thread.
enum class DiagnosticType { Info, Error, Debug };
using DiagnosticSink =
    std::function<void(unsigned level, DiagnosticType type, const QString &message)>;
