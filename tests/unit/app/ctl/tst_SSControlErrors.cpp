#include "app/ctl/SSControlErrors.h"
#include "tests/support/Fakes.h"

#include <QTest>

class tst_SSControlErrors : public QObject
{
    Q_OBJECT

    static void append(SSControlErrors &errors, const char *line)
    {
        errors.append(QStringLiteral("/tmp/log"), QByteArrayView(line));
    }

private Q_SLOTS:
    void onlyErrorsAreRemembered()
    {
        SSControlErrors errors;
        append(errors, "2021-03-04 10:15:02 +01:00 [Info]: fine [Error]: not one\n");
        append(errors, "2021-03-04 10:15:02 +01:00 [Error]: no ticket\n");
        append(errors, "2021-03-04 10:15:02 +01:00 [Debug]: >> f started\n");
        append(errors, "rubbish\n");
        append(errors, "");
        QCOMPARE(errors.messages(), QStringList{QStringLiteral("no ticket")});
    }

    void aMessageOfSeveralLinesStaysWhole()
    {
        SSControlErrors errors;
        append(errors, "2021-03-04 10:15:02 +01:00 [Error]: values: (\n    a\n)\n");
        QCOMPARE(errors.messages(), QStringList{QStringLiteral("values: (\n    a\n)")});
    }

    void repeatedErrorsAreToldOnce()
    {
        SSControlErrors errors;
        errors.remember(QStringLiteral("a"));
        errors.remember(QStringLiteral("b"));
        errors.remember(QStringLiteral("a"));
        QCOMPARE(errors.messages(), (QStringList{QStringLiteral("b"), QStringLiteral("a")}));
    }

    void onlyTheLatestAreKept()
    {
        SSControlErrors errors;
        for (int i = 0; i < 1000; ++i)
            errors.remember(QString::number(i));
        QCOMPARE(errors.messages().size(), 20);
        QCOMPARE(errors.messages().last(), QStringLiteral("999"));
    }

    void everyLineGoesOnToTheFile()
    {
        SSControlErrors errors;
        append(errors, "2021-03-04 10:15:02 +01:00 [Info]: before\n");
        const auto file = std::make_shared<RecordingLogFile>();
        errors.setLogFile(file);
        append(errors, "2021-03-04 10:15:02 +01:00 [Info]: after\n");
        QCOMPARE(file->lines(), QStringList{QStringLiteral("[Info]: after")});
        QCOMPARE(file->lastPath(), QStringLiteral("/tmp/log"));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlErrors)
#include "tst_SSControlErrors.moc"
