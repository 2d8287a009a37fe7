#pragma once

#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"

inline std::shared_ptr<SSSecureData> sessionKey()
{
    return secure(QByteArray(128, 'k'));
}

/// The log with this one error in it.
inline QStringList error(const QString &text)
{
    return {QStringLiteral("[Error]: ") + text};
}
inline QStringList error(const char *text)
{
    return error(QString::fromLatin1(text));
}
