#include "tests/unit/app/ctl/ControlFixture.h"

#include <QTest>

class tst_SSControlDiscover : public QObject
{
    Q_OBJECT

    static QStringList withPriority(const char *priority)
    {
        return ControlFixture::pointKeywords(
            {QStringLiteral("WinlogonResetPassword.SettingsPriority=") + QLatin1String(priority)});
    }

private Q_SLOTS:
    void theChosenOneAndTheReason_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("priorities");
        QTest::addColumn<int>("chosen");
        QTest::addColumn<QStringList>("decidedBy");
        const QString priority = QStringLiteral("priority");
        const QString dns = QStringLiteral("serviceDnsName");
        const QString order = QStringLiteral("order");
        QTest::newRow("one") << QStringList{QStringLiteral("a")} << QStringList{QStringLiteral("1")}
                             << 0 << QStringList{QStringLiteral("only")};
        QTest::newRow("priority, second") << QStringList{QStringLiteral("a"), QStringLiteral("b")}
                                          << QStringList{QStringLiteral("5"), QStringLiteral("10")}
                                          << 1 << QStringList{priority, priority};
        QTest::newRow("priority, first") << QStringList{QStringLiteral("b"), QStringLiteral("a")}
                                         << QStringList{QStringLiteral("10"), QStringLiteral("-5")}
                                         << 0 << QStringList{priority, priority};
        QTest::newRow("name ignoring case")
            << QStringList{QStringLiteral("beta"), QStringLiteral("Alpha")}
            << QStringList{QStringLiteral("1"), QStringLiteral("1")} << 1 << QStringList{dns, dns};
        QTest::newRow("equal names") << QStringList{QStringLiteral("a"), QStringLiteral("A")}
                                     << QStringList{QStringLiteral("1"), QStringLiteral("1")} << 0
                                     << QStringList{order, order};
        QTest::newRow("the closest rival decides")
            << QStringList{QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("b")}
            << QStringList{QStringLiteral("1"), QStringLiteral("9"), QStringLiteral("9")} << 1
            << QStringList{priority, dns, dns};
    }
    void theChosenOneAndTheReason()
    {
        QFETCH(QStringList, names);
        QFETCH(QStringList, priorities);
        QFETCH(int, chosen);
        QFETCH(QStringList, decidedBy);
        ControlFixture f;
        for (qsizetype i = 0; i < names.size(); ++i)
            f.addPoint(names.at(i), withPriority(priorities.at(i).toLatin1().constData()));
        QCOMPARE(f.run({"discover", "--json"}), 0);
        const QJsonObject answer = f.json();
        QCOMPARE(answer[QStringLiteral("selectedIndex")].toInt(-1), chosen);
        const QJsonArray points = answer[QStringLiteral("connectionPoints")].toArray();
        QCOMPARE(points.size(), names.size());
        for (qsizetype i = 0; i < names.size(); ++i) {
            const QJsonObject point = points.at(i).toObject();
            QCOMPARE(point[QStringLiteral("serviceDnsName")].toString(), names.at(i));
            QCOMPARE(point[QStringLiteral("settingsPriority")].toInt(), priorities.at(i).toInt());
            QCOMPARE(point[QStringLiteral("selected")], QJsonValue(i == chosen));
            QCOMPARE(point[QStringLiteral("decidedBy")].toString(), decidedBy.at(i));
        }
        QVERIFY(f.errors.isEmpty());
    }

    void theTextMarksTheChosenOne()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("a"), withPriority("5"));
        f.addPoint(QStringLiteral("b"), withPriority("10"));
        QCOMPARE(f.run({"discover"}), 0);
        QVERIFY(f.output.startsWith(QStringLiteral("Connection points found: 2\n")));
        QVERIFY(f.output.contains(QStringLiteral("\n- a\n")));
        QVERIFY(f.output.contains(QStringLiteral("Not chosen: its priority is lower")));
        QVERIFY(f.output.contains(QStringLiteral("\n* b\n")));
        QVERIFY(f.output.contains(QStringLiteral("Chosen: it has the highest priority\n")));
        QVERIFY(f.output.contains(
            QStringLiteral("Node location: /Active Directory/CORP/All Domains\n")));
    }

    void keywordsAreShownRawAndJoined()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("a"), ControlFixture::pointKeywords(
                                            {QStringLiteral("WinlogonResetPassword.Text:0=Hel"),
                                             QStringLiteral("WinlogonResetPassword.Text:1=lo"),
                                             QStringLiteral("A=b=c")}));
        QCOMPARE(f.run({"discover", "--json"}), 0);
        const QJsonObject point = f.json()[QStringLiteral("connectionPoints")][0].toObject();
        QCOMPARE(
            point[QStringLiteral("keywords")].toObject(),
            (QJsonObject{{QStringLiteral("1.3.6.1.4.1.32473.2.3.1"), QString()},
                         {QStringLiteral("WinlogonResetPassword.Enabled"), QStringLiteral("1")},
                         {QStringLiteral("WinlogonResetPassword.Text:0"), QStringLiteral("Hel")},
                         {QStringLiteral("WinlogonResetPassword.Text:1"), QStringLiteral("lo")},
                         {QStringLiteral("A"), QStringLiteral("b=c")}}));
        QCOMPARE(
            point[QStringLiteral("joinedKeywords")].toObject(),
            (QJsonObject{{QStringLiteral("1.3.6.1.4.1.32473.2.3.1"), QString()},
                         {QStringLiteral("WinlogonResetPassword.Enabled"), QStringLiteral("1")},
                         {QStringLiteral("WinlogonResetPassword.Text"), QStringLiteral("Hello")},
                         {QStringLiteral("A"), QStringLiteral("b=c")}}));
        QCOMPARE(f.run({"discover"}), 0);
        QVERIFY(
            f.output.contains(QStringLiteral("    Joined from their parts:\n"
                                             "        WinlogonResetPassword.Text = \"Hello\"\n")));
        QVERIFY(f.output.contains(QStringLiteral("        1.3.6.1.4.1.32473.2.3.1\n")));
    }

    void anAbsentNodeLocationIsNull()
    {
        ControlFixture f;
        FakeDirectory::add(
            f.directory->connectionPoints,
            {{QStringLiteral("keywords"), ControlFixture::pointKeywords()},
             {QStringLiteral("serviceDNSName"), {QStringLiteral("a")}},
             {QStringLiteral("objectClass"), {QStringLiteral("serviceConnectionPoint")}}});
        QCOMPARE(f.run({"discover", "--json"}), 0);
        const QJsonObject point = f.json()[QStringLiteral("connectionPoints")][0].toObject();
        QVERIFY(point.contains(QStringLiteral("appleMetaNodeLocation")));
        QVERIFY(point[QStringLiteral("appleMetaNodeLocation")].isNull());
    }

    void findingNoneIsAFailureWithAnEmptyAnswer()
    {
        ControlFixture f;
        QCOMPARE(f.run({"discover", "--json"}), 1);
        QVERIFY(f.json()[QStringLiteral("connectionPoints")].isArray());
        QVERIFY(f.json()[QStringLiteral("connectionPoints")].toArray().isEmpty());
        QVERIFY(f.json()[QStringLiteral("selectedIndex")].isNull());
        QVERIFY(f.errors.contains(QStringLiteral("no connection point of the service was found")));
    }

    void aDirectoryThatCannotBeOpenedIsAFailure()
    {
        ControlFixture f;
        f.directory->nodeError = QStringLiteral("a.ldif: no such file");
        QCOMPARE(f.run({"discover"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(QStringLiteral("a.ldif: no such file")));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlDiscover)
#include "tst_SSControlDiscover.moc"
