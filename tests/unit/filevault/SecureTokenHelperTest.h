#pragma once

#include "filevault/SSSecureTokenHelper.h"
#include "tests/support/FakeDirectory.h"
#include "tests/unit/filevault/ToolFixture.h"

#include <QObject>

inline const QString jdoe = QStringLiteral("jdoe");
inline const QString boss = QStringLiteral("boss");

/// Tools that are asked about "jdoe", by "boss" where it takes an administrator.
class SecureTokenHelperTest : public QObject
{
    Q_OBJECT

protected:
    using Update = bool (*)(const QString &, const SSSecureData &, const QString &,
                            const SSSecureData &, std::optional<QString> &);

    /// What was given to the last script.
    [[nodiscard]] QString script() const { return m_tools->lastRun().value(2); }
    /// What an update tells the user; "[none]" for no message.
    [[nodiscard]] QString message(Update update, bool expected = false) const;
    /// Whether a text is taken for the disk password of "jdoe".
    [[nodiscard]] static bool verify(const char *text = "secret");

    std::unique_ptr<ToolFixture> m_tools;
    std::shared_ptr<FakeDirectory> m_directory;

private Q_SLOTS:
    void init();
    void cleanup();
};
