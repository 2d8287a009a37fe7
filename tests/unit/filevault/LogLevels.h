#pragma once

#include "tests/unit/filevault/ToolFixture.h"

#include <QMetaType>
#include <QTest>

#include <functional>

/// A line of the log and the least level at which it is there.
struct LeveledLine
{
    quint32 level = 0;
    QString line;
};

/// Something done with the tools, and all lines that it is to log itself, in their order.
struct LoggedCall
{
    std::function<void(ToolFixture &)> work;
    QList<LeveledLine> lines;
    qsizetype commands = 1; ///< how many tools are to be asked
};
Q_DECLARE_METATYPE(LoggedCall)

/// Checks that each level has the lines that are its, and no other. In a test's function.
inline void compareAtEveryLevel(ToolFixture &tools, const LoggedCall &call)
{
    for (const quint32 level : {0U, 1U, 2U}) {
        SSLogger::sharedInstance()->setLogLevel(level);
        tools.log->clear();
        const qsizetype runsBefore = tools.runs();
        call.work(tools);
        SSLogger::sharedInstance()->setLogLevel(2);

        QCOMPARE(tools.runs() - runsBefore, call.commands);
        QStringList expected;
        for (const LeveledLine &each : call.lines) {
            if (each.level <= level)
                expected.append(each.line);
        }
        QCOMPARE(tools.linesWithLookUp(), expected);
        // Those of the runner, and the tracing.
        const QStringList all = tools.log->lines();
        QCOMPARE(all.filter(QStringLiteral("[Info]: Executing: ")).size(),
                 level >= 1 ? call.commands : 0);
        QCOMPARE(all.filter(QStringLiteral(
                                "[Debug]: >> -[SSCommandLine launchWithInput:error:] started"))
                     .size(),
                 level >= 2 ? call.commands : 0);
        if (level < 2)
            QCOMPARE(all.filter(QStringLiteral("[Debug]")), QStringList());
        if (level == 0)
            QCOMPARE(all, QStringList());
    }
}
