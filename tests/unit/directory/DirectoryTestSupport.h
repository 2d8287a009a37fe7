#pragma once

#include "foundation/SSLogger.h"
#include "platform/Directory.h"
#include "tests/support/FakeDirectory.h"
#include "tests/support/FakePlatform.h"

/// The fakes with a scripted directory. Logs everything but the start and end of functions.
struct DirectoryFixture
{
    DirectoryFixture() { fake.platform.directory = directory; }

    /// The log without function tracing.
    [[nodiscard]] QStringList lines() const
    {
        QStringList result;
        for (const QString &line : fake.log->lines()) {
            if (!line.startsWith(QLatin1String("[Debug]: >> ")))
                result.append(line);
        }
        return result;
    }

    FakePlatform fake;
    std::shared_ptr<FakeDirectory> directory = std::make_shared<FakeDirectory>();
};

// The attributes as the directory names them, spelled out here so that a changed constant shows.
namespace Attribute {
inline const QString RecordName = QStringLiteral("dsAttrTypeStandard:RecordName");
inline const QString GUID = QStringLiteral("dsAttrTypeStandard:GeneratedUID");
inline const QString NTDomain = QStringLiteral("dsAttrTypeStandard:PrimaryNTDomain");
inline const QString OriginalNode = QStringLiteral("dsAttrTypeStandard:OriginalNodeName");
inline const QString GroupID = QStringLiteral("dsAttrTypeStandard:PrimaryGroupID");
inline const QString OriginalHome = QStringLiteral("dsAttrTypeStandard:OriginalNFSHomeDirectory");
inline const QString Home = QStringLiteral("dsAttrTypeStandard:NFSHomeDirectory");
inline const QString Location = QStringLiteral("dsAttrTypeStandard:AppleMetaNodeLocation");
inline const QString Account = QStringLiteral("sAMAccountName");
inline const QString Keywords = QStringLiteral("keywords");
inline const QString DnsName = QStringLiteral("serviceDNSName");
inline const QString ObjectClass = QStringLiteral("objectClass");
} // namespace Attribute
