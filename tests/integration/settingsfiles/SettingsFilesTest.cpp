#include "tests/integration/settingsfiles/SettingsFilesTest.h"

#include <QTest>

#include <unistd.h>

QString SettingsFilesTest::quoted(const SettingsFilesScene &scene, const QString &path)
{
    return QStringLiteral("\"%1\"").arg(QString::fromLocal8Bit(scene.real(path)));
}

void SettingsFilesTest::initTestCase()
{
    QVERIFY2(::geteuid() == 0, "this test makes accounts, so it needs root");
    QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
    m_agent = addAccount(QStringLiteral("_securityagent"));
    m_user = addAccount(QStringLiteral("ssit-user"));
    prepare();
}

void SettingsFilesTest::init()
{
    m_descriptors = openDescriptors();
}

void SettingsFilesTest::cleanup()
{
    QCOMPARE(openDescriptors(), m_descriptors);
}
