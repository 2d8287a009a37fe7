#include "foundation/SSDefaults.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

class tst_SSDefaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void logLevel_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("absent") << QVariant() << 0U;
        QTest::newRow("0") << QVariant(qlonglong(0)) << 0U;
        QTest::newRow("1") << QVariant(qlonglong(1)) << 1U;
        QTest::newRow("2") << QVariant(qlonglong(2)) << 2U;
        QTest::newRow("3 is silent, not verbose") << QVariant(qlonglong(3)) << 0U;
        QTest::newRow("-1 is silent") << QVariant(qlonglong(-1)) << 0U;
        QTest::newRow("text") << QVariant(QStringLiteral("2")) << 2U;
        QTest::newRow("2^32 + 1") << QVariant(qlonglong(4294967297LL)) << 0U;
    }
    void logLevel()
    {
        FakePlatform fake;
        QFETCH(QVariant, stored);
        QFETCH(quint32, expected);
        if (stored.isValid())
            fake.defaults->values.insert(QStringLiteral("LogLevel"), stored);
        QCOMPARE(SSDefaults::defaults()->getLogLevel(), expected);
    }

    void presentFalseIsNotAbsent()
    {
        FakePlatform fake;
        fake.defaults->values.insert(QStringLiteral("off"), false);
        bool value = true;
        QVERIFY(SSDefaults::defaults()->getBooleanForKey(QStringLiteral("off"), value));
        QCOMPARE(value, false);

        value = true;
        QVERIFY(!SSDefaults::defaults()->getBooleanForKey(QStringLiteral("absent"), value));
        QCOMPARE(value, true);
    }

    void integersAreTruncatedTo32Bits()
    {
        FakePlatform fake;
        fake.defaults->values.insert(QStringLiteral("big"), qlonglong(0x1'0000'0005LL));
        qint32 value = -1;
        QVERIFY(SSDefaults::defaults()->getIntegerForKey(QStringLiteral("big"), value));
        QCOMPARE(value, 5);

        value = 42;
        QVERIFY(!SSDefaults::defaults()->getIntegerForKey(QStringLiteral("absent"), value));
        QCOMPARE(value, 42);
    }

    void strings()
    {
        FakePlatform fake;
        fake.defaults->values.insert(QStringLiteral("empty"), QString());
        fake.defaults->values.insert(QStringLiteral("number"), qlonglong(7));
        std::optional<QString> value = QStringLiteral("old");
        QVERIFY(!SSDefaults::defaults()->getStringForKey(QStringLiteral("absent"), value));
        QCOMPARE(value, QStringLiteral("old"));
        QVERIFY(SSDefaults::defaults()->getStringForKey(QStringLiteral("empty"), value));
        QVERIFY(value.has_value());
        QCOMPARE(*value, QString());
        QVERIFY(SSDefaults::defaults()->getStringForKey(QStringLiteral("number"), value));
        QCOMPARE(value, QStringLiteral("7"));
    }

    void everyCallGivesANewObject()
    {
        FakePlatform fake;
        const auto first = SSDefaults::defaults();
        QVERIFY(first != SSDefaults::defaults());
    }
};

QTEST_GUILESS_MAIN(tst_SSDefaults)
#include "tst_SSDefaults.moc"
