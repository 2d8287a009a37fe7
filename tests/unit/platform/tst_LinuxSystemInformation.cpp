#include "platform/linux/core/LinuxSystemInformation.h"

#include <QTemporaryFile>
#include <QTest>

using Openness = std::optional<bool>;
Q_DECLARE_METATYPE(Openness)

class tst_LinuxSystemInformation : public QObject
{
    Q_OBJECT

    static Openness openness(const QByteArray &mountTable)
    {
        QTemporaryFile file;
        if (!file.open() || file.write(mountTable) != mountTable.size() || !file.flush())
            qFatal("The mount table cannot be written.");
        return LinuxSystemInformation(QStringLiteral("com.example"), file.fileName())
            .areArgumentsOpenToOthers();
    }

private Q_SLOTS:
    void whoSeesArguments_data()
    {
        QTest::addColumn<QByteArray>("mountTable");
        QTest::addColumn<Openness>("expected");
        const QByteArray start = "22 27 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - ";
        const auto row = [](const char *name, const QByteArray &table, Openness expected) {
            QTest::newRow(name) << table << expected;
        };
        row("no option", start + "proc proc rw\n", true);
        row("off", start + "proc proc rw,hidepid=off\n", true);
        row("0", start + "proc proc rw,hidepid=0\n", true);
        row("noaccess", start + "proc proc rw,hidepid=noaccess\n", false);
        row("invisible", start + "proc proc rw,gid=104,hidepid=invisible\n", false);
        row("ptraceable", start + "proc proc rw,hidepid=ptraceable\n", false);
        row("1", start + "proc proc rw,hidepid=1\n", false);
        row("2", start + "proc proc rw,hidepid=2,gid=104\n", false);
        row("4", start + "proc proc rw,hidepid=4\n", false);
        row("a value that is none", start + "proc proc rw,hidepid=22\n", true);
        row("another source", start + "proc none rw,hidepid=2\n", false);
        row("no tag", "22 27 0:21 / /proc rw,relatime - proc proc rw,hidepid=2\n", false);
        row("many tags", "22 27 0:21 / /proc rw shared:1 master:2 unbindable - proc proc rw\n",
            true);
        row("no last line end", start + "proc proc rw,hidepid=2", false);
        row("an option of the mount alone", "22 27 0:21 / /proc rw,hidepid=2 - proc proc rw\n",
            true);
        row("among others",
            "27 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw,errors=remount-ro\n" + start +
                "proc proc rw,hidepid=invisible\n"
                "35 22 0:31 / /proc/sys/fs/binfmt_misc rw - autofs systemd-1 rw,fd=29\n"
                "36 27 0:40 / /srv/root/proc rw - proc proc rw\n",
            false);
        row("hidden elsewhere only",
            start + "proc proc rw\n36 27 0:40 / /srv/proc rw - proc proc rw,hidepid=2\n", true);
        row("covered by one that hides",
            start + "proc proc rw\n65 22 0:39 / /proc rw - proc proc rw,hidepid=2\n", false);
        row("covering one that hides",
            "65 22 0:39 / /proc rw - proc proc rw\n" + start + "proc proc rw,hidepid=2\n", true);
        row("covered by something else",
            start + "proc proc rw\n65 22 0:39 / /proc rw - tmpfs tmpfs rw\n", std::nullopt);
        row("a piece of it", "22 27 0:21 /sys /proc rw - proc proc rw\n", std::nullopt);
        row("no list", "27 1 8:1 / / rw - ext4 /dev/sda1 rw\n", std::nullopt);
        row("nothing", "", std::nullopt);
        row("cut off", "22 27 0:21 / /proc rw - proc proc\n", std::nullopt);
        row("no table", QByteArray(100, '\0') + "\n\n - \n-\n", std::nullopt);
    }
    void whoSeesArguments()
    {
        QFETCH(QByteArray, mountTable);
        QFETCH(Openness, expected);
        QCOMPARE(openness(mountTable), expected);
    }

    void aTableThatCannotBeReadTellsNothing()
    {
        QCOMPARE(LinuxSystemInformation(QStringLiteral("com.example"),
                                        QStringLiteral("/nonexistent/mountinfo"))
                     .areArgumentsOpenToOthers(),
                 Openness());
    }
};

QTEST_GUILESS_MAIN(tst_LinuxSystemInformation)
#include "tst_LinuxSystemInformation.moc"
