#pragma once

#include "platform/linux/cryptography/LinuxCryptography.h"
#include "platform/linux/cryptography/LinuxPublicKeyService.h"
#include "security/SSSecureData.h"
#include "tests/support/FakePlatform.h"

#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <memory>

/// The fakes with real computations; the random bytes still count up.
class OfflinePlatform : public FakePlatform
{
public:
    OfflinePlatform()
    {
        cryptography->backend = std::make_shared<LinuxCryptography>();
        platform.publicKeys = std::make_shared<LinuxPublicKeyService>();
    }
};

inline std::shared_ptr<SSSecureData> secure(const QByteArray &bytes)
{
    return SSSecureData::dataWithData(SSSecure::bytes(bytes));
}

inline std::shared_ptr<SSSecureData> secureHex(const QString &hex)
{
    return secure(QByteArray::fromHex(hex.toLatin1()));
}

/// "null" for null, else the bytes in hexadecimal.
inline QString hex(const SSSecureData *data)
{
    if (!data)
        return QStringLiteral("null");
    const QByteArray bytes(reinterpret_cast<const char *>(data->bytes()),
                           static_cast<qsizetype>(data->length()));
    return QString::fromLatin1(bytes.toHex());
}
inline QString hex(const std::shared_ptr<SSSecureData> &data)
{
    return hex(data.get());
}

/// Calls `check` with each case of a list in both files of cases; there is at least one.
template<typename Check>
void forEachCase(const char *list, const Check &check)
{
    int count = 0;
    for (const char *file :
         {SS_TEST_DATA "/offline_codes.json", SS_TEST_DATA "/offline_generated.json"}) {
        QFile json(QString::fromUtf8(file));
        QVERIFY2(json.open(QIODevice::ReadOnly), file);
        const auto cases =
            QJsonDocument::fromJson(json.readAll()).object().value(QLatin1String(list)).toArray();
        for (const QJsonValue &value : cases) {
            check(value);
            if (QTest::currentTestFailed())
                return;
            ++count;
        }
    }
    QVERIFY(count > 0);
}

inline quint32 number(const QJsonValue &value)
{
    return static_cast<quint32>(value.toInteger());
}
