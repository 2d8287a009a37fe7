#include "platform/linux/directory/LdapNames.h"

#include <QTest>

class tst_LdapNames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Values of the examples in RFC 4515, section 4, with the digits in lower case.
    void filterValuesAreEscaped_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("parentheses")
            << QStringLiteral("Parens R Us (for all your parenthetical needs)")
            << QByteArray("Parens R Us \\28for all your parenthetical needs\\29");
        QTest::newRow("asterisk") << QStringLiteral("*") << QByteArray("\\2a");
        QTest::newRow("backslash") << QStringLiteral("C:\\MyFile") << QByteArray("C:\\5cMyFile");
        QTest::newRow("zero characters")
            << QString(3, QChar(0)) + QChar(4) << QByteArray("\\00\\00\\00\4");
        QTest::newRow("UTF-8") << QString::fromUtf8("Lučić") << QByteArray("Lu\xc4\x8di\xc4\x87");
        QTest::newRow("plain") << QStringLiteral("a=b&|!~<>") << QByteArray("a=b&|!~<>");
        QTest::newRow("empty") << QString() << QByteArray();
    }
    void filterValuesAreEscaped()
    {
        QFETCH(QString, value);
        QFETCH(QByteArray, expected);
        QCOMPARE(LdapNames::escapedFilterValue(value), expected);
    }

    void guidsAreMixedEndian()
    {
        // The documented example of a uniqueidentifier and its binary form.
        QCOMPARE(LdapNames::guidText(QByteArray::fromHex("ff19966f868b11d0b42d00c04fc964ff")),
                 QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
    }

    void guidsHaveSixteenBytes()
    {
        QVERIFY(!LdapNames::guidText(QByteArray(15, 'x')));
        QVERIFY(!LdapNames::guidText(QByteArray(17, 'x')));
        QVERIFY(!LdapNames::guidText(QByteArray()));
    }

    void aNameTellsItsDomain_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("user") << QByteArray("CN=John Doe,CN=Users,DC=Corp,DC=example,DC=test")
                              << QStringLiteral("corp.example.test");
        QTest::newRow("lower case")
            << QByteArray("cn=x,dc=corp,dc=test") << QStringLiteral("corp.test");
        QTest::newRow("only the trailing components")
            << QByteArray("DC=record,CN=zone,DC=corp,DC=test") << QStringLiteral("corp.test");
        QTest::newRow("escaped comma")
            << QByteArray("CN=Doe\\, John,DC=corp,DC=test") << QStringLiteral("corp.test");
        QTest::newRow("a comma that looks like a component")
            << QByteArray("CN=x\\,DC\\=evil,DC=corp,DC=test") << QStringLiteral("corp.test");
        QTest::newRow("none") << QByteArray("CN=x,O=y") << QString();
        QTest::newRow("empty") << QByteArray() << QString();
        QTest::newRow("no name") << QByteArray("nonsense") << QString();
    }
    void aNameTellsItsDomain()
    {
        QFETCH(QByteArray, name);
        QFETCH(QString, expected);
        QCOMPARE(LdapNames::domainOfName(name), expected);
    }
};

QTEST_GUILESS_MAIN(tst_LdapNames)
#include "tst_LdapNames.moc"
