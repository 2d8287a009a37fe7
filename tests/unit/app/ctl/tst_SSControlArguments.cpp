#include "app/ctl/SSControlArguments.h"

#include <QTest>

#include <string>
#include <vector>

class tst_SSControlArguments : public QObject
{
    Q_OBJECT

    static std::optional<QString> faultOf(std::vector<const char *> arguments)
    {
        arguments.insert(arguments.begin(), "zevrikselfservicectl");
        return SSControlArguments(arguments).fault();
    }

private Q_SLOTS:
    void optionsStandAnywhere()
    {
        for (const std::vector<const char *> &line :
             {std::vector<const char *>{"ctl", "--json", "--node-location", "user", "user", "jdoe"},
              std::vector<const char *>{"ctl", "user", "--node-location=user", "jdoe", "--json"},
              std::vector<const char *>{"ctl", "user", "jdoe", "--json", "--node-location",
                                        "user"}}) {
            const SSControlArguments arguments(line);
            QCOMPARE(arguments.fault(), std::nullopt);
            QVERIFY(arguments.command());
            QCOMPARE(QLatin1String(arguments.command()->name), QLatin1String("user"));
            QCOMPARE(arguments.invocation().operands(), QStringList{QStringLiteral("jdoe")});
            QVERIFY(arguments.isSet("json"));
            QCOMPARE(arguments.value("node-location"), QStringLiteral("user"));
            QCOMPARE(arguments.value("ldif"), std::nullopt);
        }
    }

    void afterTwoDashesEverythingIsAnOperand()
    {
        const std::vector<const char *> line{"ctl", "user", "--", "--json"};
        const SSControlArguments arguments(line);
        QCOMPARE(arguments.fault(), std::nullopt);
        QCOMPARE(arguments.invocation().operands(), QStringList{QStringLiteral("--json")});
        QVERIFY(!arguments.isSet("json"));
    }

    void anEmptyNodeLocationIsOne()
    {
        const std::vector<const char *> line{"ctl", "user", "jdoe", "--node-location", ""};
        const SSControlArguments arguments(line);
        QCOMPARE(arguments.fault(), std::nullopt);
        QCOMPARE(arguments.value("node-location"), QString());
    }

    void wrongUsage_data()
    {
        using Line = std::vector<const char *>;
        QTest::addColumn<std::vector<const char *>>("line");
        QTest::newRow("options alone") << Line{"--json"};
        QTest::newRow("unknown command") << Line{"frobnicate"};
        QTest::newRow("empty command") << Line{""};
        QTest::newRow("command in capitals") << Line{"Discover"};
        QTest::newRow("help of an unknown command") << Line{"frobnicate", "--help"};
        QTest::newRow("unknown option") << Line{"discover", "--frobnicate"};
        QTest::newRow("unknown option before") << Line{"--frobnicate", "discover"};
        QTest::newRow("another command's option") << Line{"discover", "--user", "jdoe"};
        QTest::newRow("short option") << Line{"discover", "-j"};
        QTest::newRow("switch with a value") << Line{"discover", "--json=yes"};
        QTest::newRow("missing value") << Line{"discover", "--ldif"};
        QTest::newRow("empty value") << Line{"discover", "--ldif", ""};
        QTest::newRow("option twice") << Line{"discover", "--ldif", "a", "--ldif", "b"};
        QTest::newRow("operand too many") << Line{"discover", "now"};
        QTest::newRow("operand missing") << Line{"user"};
        QTest::newRow("operand empty") << Line{"user", ""};
        QTest::newRow("two users") << Line{"user", "jdoe", "asmith"};
        QTest::newRow("url of nothing") << Line{"url"};
        QTest::newRow("unknown url") << Line{"url", "page"};
        QTest::newRow("ping takes no user") << Line{"url", "ping", "--user", "jdoe"};
        QTest::newRow("enroll takes no request code")
            << Line{"url", "enroll", "--request-code", "A"};
        QTest::newRow("a user beside an answer")
            << Line{"enroll-status", "--answer", "f", "--user", "jdoe"};
        QTest::newRow("not UTF-8") << Line{"user", "j\xf6rg"};
        QTest::newRow("not UTF-8 in a value") << Line{"discover", "--ldif", "\xff"};
        QTest::newRow("a surrogate in UTF-8") << Line{"user", "\xed\xa0\x80"};
    }
    void wrongUsage()
    {
        QFETCH(std::vector<const char *>, line);
        const auto fault = faultOf(line);
        QVERIFY(fault);
        QVERIFY(!fault->isEmpty());
    }

    void aVeryLongArgumentIsTakenAsItIs()
    {
        const std::string name(100'000, 'x');
        QCOMPARE(faultOf({"user", name.c_str()}), std::nullopt);
        QVERIFY(faultOf({name.c_str()}));
    }

    void noProgramNameIsNoCommand() { QVERIFY(SSControlArguments({}).isEmpty()); }

    void everyOptionIsOfOneKindInAllCommands()
    {
        // The command is found before it is known whose options stand before it.
        QMap<QString, bool> takesValue;
        for (const SSControlCommand *command : SSControlCommands::all()) {
            for (const SSControlOption &option : command->options) {
                const QString name = QString::fromLatin1(option.name);
                const bool takes = option.value != nullptr;
                QCOMPARE(takesValue.value(name, takes), takes);
                takesValue.insert(name, takes);
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_SSControlArguments)
#include "tst_SSControlArguments.moc"
