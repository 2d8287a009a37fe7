#pragma once

#include <QString>

/// Logs the start of a method when made and its end when it goes out of scope. The name is the
/// method's full one in bracket form, such as "-[SSEnroll onEnrollTimer:]".
class [[nodiscard]] SSFunctionLog
{
public:
    explicit SSFunctionLog(const char *functionName);
    ~SSFunctionLog();
    SSFunctionLog(const SSFunctionLog &) = delete;
    SSFunctionLog &operator=(const SSFunctionLog &) = delete;

    [[nodiscard]] QString functionName() const { return QString::fromUtf8(m_functionName); }

private:
    const char *m_functionName;
};
