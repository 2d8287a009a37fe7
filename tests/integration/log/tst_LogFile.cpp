#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// The log file in a world-writable sticky folder, written by processes of their own. Runs as root,
/// to be two users.
class tst_LogFile : public QObject
{
    Q_OBJECT

    static constexpr uid_t owner = 61001;
    static constexpr uid_t writer = 61002;

    /// A root prefix with such a "/tmp" in it.
    struct Root
    {
        Root()
        {
            QFile::setPermissions(folder.path(), QFile::Permissions(0x7755));
            QDir(folder.path()).mkdir(QStringLiteral("tmp"));
            ::chmod(QFile::encodeName(tmp()).constData(), 01777);
        }
        [[nodiscard]] QString tmp() const { return folder.filePath(QStringLiteral("tmp")); }
        [[nodiscard]] QString log() const
        {
            return folder.filePath(QStringLiteral("tmp/zevrikselfservice.log"));
        }
        [[nodiscard]] QByteArray encodedLog() const { return QFile::encodeName(log()); }
        [[nodiscard]] QByteArray contents() const
        {
            QFile file(log());
            file.open(QIODevice::ReadOnly);
            return file.readAll();
        }
        void make(const QByteArray &contents, uid_t uid, mode_t mode) const
        {
            QFile file(log());
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(contents);
            file.close();
            QCOMPARE(::chown(encodedLog().constData(), uid, static_cast<gid_t>(-1)), 0);
            QCOMPARE(::chmod(encodedLog().constData(), mode), 0);
        }
        QTemporaryDir folder;
    };

    static QStringList writerArguments(const Root &root, const QStringList &more)
    {
        return QStringList{QStringLiteral("--root"), root.folder.path(), QStringLiteral("--tag"),
                           QStringLiteral("T")} +
               more;
    }
    static void runWriter(const Root &root, const QStringList &more)
    {
        QProcess process;
        process.start(QStringLiteral(SS_LOG_WRITER), writerArguments(root, more));
        QVERIFY2(process.waitForFinished(60'000), "the writer hangs");
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
    }
    /// The system calls between the first mark and the last, one a line, marks included.
    static QStringList traced(const Root &root, const QStringList &more)
    {
        const QString trace = root.folder.filePath(QStringLiteral("trace"));
        QProcess process;
        // Where the build has a leak checker: it does not work in a traced process.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral("strace"),
                      QStringList{QStringLiteral("-o"), trace, QStringLiteral(SS_LOG_WRITER)} +
                          writerArguments(root, more + QStringList{QStringLiteral("--marks"),
                                                                   QStringLiteral("yes")}));
        if (!process.waitForFinished(60'000) || process.exitCode() != 0)
            return {QStringLiteral("strace failed: ") +
                    QString::fromLocal8Bit(process.readAllStandardError())};
        QFile file(trace);
        file.open(QIODevice::ReadOnly);
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        const QRegularExpression markPattern(QStringLiteral("getppid\\(.*"));
        const QStringList calls =
            lines.mid(lines.indexOf(markPattern),
                      lines.lastIndexOf(markPattern) - lines.indexOf(markPattern) + 1);
        return withoutTheRuntimes(calls);
    }

    /// Without what the language runtime does on its own now and then: the allocator gets memory or
    /// gives some back, and a sanitizer tries by a pipe whether memory can be read.
    static QStringList withoutTheRuntimes(const QStringList &calls)
    {
        static const QRegularExpression memory(QStringLiteral("^(brk|mmap|munmap|madvise)\\("));
        static const QRegularExpression pipe(QStringLiteral("^pipe2?\\(\\[(\\d+), (\\d+)\\]"));
        static const QRegularExpression use(QStringLiteral("^(write|read|close)\\((\\d+)"));
        QStringList result;
        QStringList pipeEnds;
        for (const QString &call : calls) {
            if (call.contains(memory))
                continue;
            if (const auto match = pipe.match(call); match.hasMatch()) {
                pipeEnds = {match.captured(1), match.captured(2)};
                continue;
            }
            const auto match = use.match(call);
            if (match.hasMatch() && pipeEnds.contains(match.captured(2))) {
                if (match.captured(1) == QLatin1String("close"))
                    pipeEnds.removeAll(match.captured(2));
                continue;
            }
            result.append(call);
        }
        return result;
    }
    static QStringList asWriter() { return {QStringLiteral("--uid"), QString::number(writer)}; }
    /// The date that begins each line is not looked at.
    static QByteArray line(const QByteArray &message) { return "[Info]: " + message + "\n"; }

private Q_SLOTS:
    void initTestCase() { QVERIFY2(::geteuid() == 0, "needs root, to write as two users"); }

    void aMissingFileIsCreatedAndTheFirstLineLandsInIt_data()
    {
        QTest::addColumn<QString>("mask");
        QTest::addColumn<mode_t>("mode");
        QTest::newRow("no mask") << QStringLiteral("0") << mode_t{0666};
        QTest::newRow("a mask") << QStringLiteral("27") << mode_t{0640};
    }
    void aMissingFileIsCreatedAndTheFirstLineLandsInIt()
    {
        QFETCH(QString, mask);
        QFETCH(mode_t, mode);
        const Root root;
        runWriter(root, QStringList{QStringLiteral("--umask"), mask} + asWriter());
        struct stat status = {};
        QCOMPARE(::stat(root.encodedLog().constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777U, mode);
        QCOMPARE(status.st_uid, writer);
        QVERIFY(root.contents().endsWith(line("T 0 0 x end")));
        QCOMPARE(root.contents().count('\n'), 1);
    }

    void atLevel0NothingIsWrittenAndNoFileCreated()
    {
        const Root root;
        runWriter(root, {QStringLiteral("--level"), QStringLiteral("0")});
        QCOMPARE(QDir(root.tmp()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList());
    }

    void aToolThatMayNotCreateTheFileOnlyAppends()
    {
        const Root root;
        const QStringList only{QStringLiteral("--create"), QStringLiteral("no")};
        runWriter(root, only);
        QVERIFY(!QFileInfo::exists(root.log()));
        root.make("before\n", owner, 0666);
        runWriter(root, only);
        QVERIFY(root.contents().startsWith("before\n"));
        QVERIFY(root.contents().endsWith(line("T 0 0 x end")));
    }

    void aFileOfAnotherUserIsAppendedTo()
    {
        const Root root;
        root.make("before\n", owner, 0666);
        runWriter(root, asWriter());
        QVERIFY(root.contents().startsWith("before\n"));
        QVERIFY(root.contents().endsWith(line("T 0 0 x end")));
        struct stat status = {};
        QCOMPARE(::stat(root.encodedLog().constData(), &status), 0);
        QCOMPARE(status.st_uid, owner);
    }

    // Systems that protect sticky folders refuse O_CREAT on a file of another user, even though it
    // exists. This one may not, so the call itself is looked at.
    void anExistingFileIsOpenedWithoutOCreat()
    {
        const Root root;
        root.make("", owner, 0666);
        const QStringList calls = traced(root, asWriter());
        const QStringList opens = calls.filter(QStringLiteral("zevrikselfservice.log"));
        QCOMPARE(opens.size(), 1);
        QVERIFY2(opens.first().startsWith(QLatin1String("openat(")), qPrintable(opens.first()));
        for (const char *flag : {"O_WRONLY", "O_APPEND", "O_NOFOLLOW", "O_NONBLOCK", "O_CLOEXEC"})
            QVERIFY2(opens.first().contains(QLatin1String(flag)), flag);
        QVERIFY2(!opens.first().contains(QLatin1String("O_CREAT")), qPrintable(opens.first()));
        QVERIFY(root.contents().endsWith(line("T 0 0 x end")));
    }

    void aMissingFileIsCreatedExclusively()
    {
        const Root root;
        const QStringList opens = traced(root, {}).filter(QStringLiteral("zevrikselfservice.log"));
        QCOMPARE(opens.size(), 2);
        QVERIFY(opens.at(0).contains(QLatin1String("ENOENT")));
        QVERIFY2(opens.at(1).contains(QLatin1String("O_CREAT|O_EXCL")), qPrintable(opens.at(1)));
        QVERIFY2(opens.at(1).contains(QLatin1String(", 0666)")), qPrintable(opens.at(1)));
    }

    void aWrittenLineCostsFourSystemCalls()
    {
        const Root root;
        root.make("", owner, 0666);
        QStringList names;
        for (const QString &call : traced(root, {QStringLiteral("--lines"), QStringLiteral("20")}))
            names.append(call.left(call.indexOf(QLatin1Char('('))));
        const QStringList cycle{QStringLiteral("getppid"), QStringLiteral("openat"),
                                QStringLiteral("fstat"), QStringLiteral("write"),
                                QStringLiteral("close")};
        QStringList expected;
        for (int i = 0; i < 20; ++i)
            expected += cycle;
        expected.append(cycle.first());
        names.replaceInStrings(QStringLiteral("newfstatat"), QStringLiteral("fstat"));
        QCOMPARE(names, expected);
        QCOMPARE(root.contents().count('\n'), 20);
    }

    void aCallBelowTheLevelCostsNoSystemCallAndNoAllocation_data()
    {
        QTest::addColumn<QString>("level");
        QTest::newRow("silent") << QStringLiteral("0");
        QTest::newRow("normal") << QStringLiteral("1");
    }
    void aCallBelowTheLevelCostsNoSystemCallAndNoAllocation()
    {
        QFETCH(QString, level);
        const Root root;
        const QStringList arguments{QStringLiteral("--level"), level,
                                    QStringLiteral("--allocations"), QStringLiteral("yes")};
        QProcess process;
        process.start(QStringLiteral(SS_LOG_WRITER), writerArguments(root, arguments));
        QVERIFY(process.waitForFinished(60'000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardOutput(), QByteArray("0\n"));

        const QStringList calls = traced(root, arguments);
        QCOMPARE(calls.size(), 1001);
        QCOMPARE(calls.filter(QRegularExpression(QStringLiteral("^getppid\\("))).size(), 1001);
        QVERIFY(!QFileInfo::exists(root.log()));
    }

    void aLinkIsNotFollowed_data()
    {
        QTest::addColumn<bool>("targetExists");
        QTest::newRow("to a file") << true;
        QTest::newRow("to nothing") << false;
    }
    void aLinkIsNotFollowed()
    {
        QFETCH(bool, targetExists);
        const Root root;
        const QString target = root.folder.filePath(QStringLiteral("target"));
        if (targetExists) {
            QFile file(target);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QVERIFY(QFile::link(target, root.log()));
        runWriter(root, {});
        QCOMPARE(QFileInfo::exists(target), targetExists);
        QCOMPARE(QFileInfo(target).size(), 0);
        QVERIFY(QFileInfo(root.log()).isSymLink());
    }

    void aFileWithASecondNameIsNotWrittenTo()
    {
        const Root root;
        root.make("precious\n", owner, 0666);
        const QByteArray other = QFile::encodeName(root.folder.filePath(QStringLiteral("other")));
        QCOMPARE(::link(root.encodedLog().constData(), other.constData()), 0);
        runWriter(root, {});
        QCOMPARE(root.contents(), QByteArray("precious\n"));
        QCOMPARE(::unlink(other.constData()), 0);
        runWriter(root, {});
        QVERIFY(root.contents().endsWith(line("T 0 0 x end")));
    }

    void aFifoIsNeitherWaitedForNorWrittenTo_data()
    {
        QTest::addColumn<bool>("hasReader");
        QTest::newRow("nobody reads") << false;
        QTest::newRow("somebody reads") << true;
    }
    void aFifoIsNeitherWaitedForNorWrittenTo()
    {
        QFETCH(bool, hasReader);
        const Root root;
        QCOMPARE(::mkfifo(root.encodedLog().constData(), 0666), 0);
        const int reader =
            hasReader ? ::open(root.encodedLog().constData(), O_RDONLY | O_NONBLOCK) : -1;
        runWriter(root, {});
        if (hasReader) {
            char byte = 0;
            QCOMPARE(::read(reader, &byte, 1), ssize_t{0}); // the end: nobody wrote
            ::close(reader);
        }
    }

    void aFolderIsLeftAlone()
    {
        const Root root;
        QVERIFY(QDir().mkdir(root.log()));
        runWriter(root, {});
        QVERIFY(QFileInfo(root.log()).isDir());
        QVERIFY(QDir(root.log()).isEmpty());
    }

    void aDeviceIsNotWrittenTo()
    {
        const Root root;
        // The device that takes everything, so that a write would succeed.
        QCOMPARE(::mknod(root.encodedLog().constData(), S_IFCHR | 0666,
                         static_cast<dev_t>(1U << 8U | 3U)),
                 0);
        const QStringList calls = traced(root, {});
        QCOMPARE(calls.filter(QRegularExpression(QStringLiteral("^openat\\("))).size(), 1);
        QCOMPARE(calls.filter(QRegularExpression(QStringLiteral("^write\\("))).size(), 0);
    }

    void aFileThatMayNotBeWrittenLosesTheLineInSilence()
    {
        const Root root;
        root.make("before\n", owner, 0644);
        runWriter(root, asWriter());
        QCOMPARE(root.contents(), QByteArray("before\n"));
    }

    void processesAndThreadsLoseAndMixNothing()
    {
        constexpr int processes = 4;
        constexpr int threads = 4;
        constexpr int lines = 500;
        const Root root; // the file is missing, so they also race to create it
        std::vector<std::unique_ptr<QProcess>> running;
        for (int i = 0; i < processes; ++i) {
            auto process = std::make_unique<QProcess>();
            // Root and another user at once.
            const uid_t uid = i % 2 == 0 ? 0 : writer;
            process->start(QStringLiteral(SS_LOG_WRITER),
                           {QStringLiteral("--root"), root.folder.path(), QStringLiteral("--umask"),
                            QStringLiteral("0"), QStringLiteral("--uid"), QString::number(uid),
                            QStringLiteral("--tag"), QStringLiteral("P%1").arg(i),
                            QStringLiteral("--threads"), QString::number(threads),
                            QStringLiteral("--lines"), QString::number(lines)});
            running.push_back(std::move(process));
        }
        for (const auto &process : running) {
            QVERIFY(process->waitForFinished(60'000));
            QCOMPARE(process->exitCode(), 0);
        }

        const QRegularExpression whole(QStringLiteral(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [+-]\\d\\d:\\d\\d \\[Info\\]: "
            "P(\\d) (\\d) (\\d+) (x|(a{5000})|(b{5000})|(c{5000})|(d{5000})) end$"));
        QMap<QString, int> next;
        int longLines = 0;
        QList<QByteArray> read = root.contents().split('\n');
        QCOMPARE(read.takeLast(), QByteArray());
        QCOMPARE(read.size(), processes * threads * lines);
        for (const QByteArray &entry : std::as_const(read)) {
            const QRegularExpressionMatch match = whole.match(QString::fromUtf8(entry));
            QVERIFY2(match.hasMatch(), entry.left(200).constData());
            const int number = match.captured(3).toInt();
            // Those of one thread stand in its order, none twice and none missing.
            QCOMPARE(number, next[match.captured(1) + match.captured(2)]++);
            if (number % 7 == 6) {
                ++longLines;
                QCOMPARE(
                    match.captured(4),
                    QString(5000, QLatin1Char(static_cast<char>('a' + match.captured(2).toInt()))));
            }
        }
        QCOMPARE(next.size(), processes * threads);
        QCOMPARE(longLines, processes * threads * (lines / 7));
    }
};

QTEST_GUILESS_MAIN(tst_LogFile)
#include "tst_LogFile.moc"
