#include "platform/linux/defaults/LinuxUserDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class tst_LinuxUserDefaults : public QObject
{
    Q_OBJECT

    static QString domain() { return QStringLiteral("com.zevrik.selfservice"); }

    static QByteArray xml(const QByteArray &entries)
    {
        return "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>";
    }
    static QByteArray text(const char *key, const char *value)
    {
        return QByteArray("<key>") + key + "</key><string>" + value + "</string>";
    }
    static void write(const QString &path, const QByteArray &contents)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }
    /// What `command` prints. Not by QProcess: the thread sanitizer does not survive its clone().
    static QByteArray outputOf(const QByteArray &command)
    {
        QByteArray result;
        FILE *pipe = ::popen(command.constData(), "r");
        std::array<char, 65536> buffer{};
        while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
            result.append(buffer.data(), static_cast<qsizetype>(count));
        return ::pclose(pipe) == 0 ? result : QByteArray("failed");
    }

    /// So old that no later change can fall on the same moment.
    static void age(const QString &path)
    {
        const std::array<timespec, 2> times{timespec{1'600'000'000, 0}, timespec{1'600'000'000, 0}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times.data(), 0), 0);
    }

    /// Three layers in a folder of the test's own.
    struct Layers
    {
        QTemporaryDir folder;
        QString managed = folder.filePath(QStringLiteral("managed.plist"));
        QString user = folder.filePath(QStringLiteral("user.plist"));
        QString computer = folder.filePath(QStringLiteral("computer.plist"));
        QStringList reported;
        LinuxUserDefaults store{domain(),
                                {managed, user, computer},
                                [this](unsigned level, DiagnosticType type, const QString &line) {
                                    QCOMPARE(level, 1U);
                                    QVERIFY(type == DiagnosticType::Error);
                                    reported.append(line);
                                }};

        std::optional<QVariant> operator[](const char *key)
        {
            return store.objectForKey(QString::fromLatin1(key));
        }
        /// The lines reported so far, those of the last lookup included.
        QStringList reports()
        {
            static_cast<void>((*this)["any"]);
            return reported;
        }
    };

private Q_SLOTS:
    void layersAreAskedKeyByKeyInTheirOrder()
    {
        Layers layers;
        write(layers.managed, xml(text("a", "managed")));
        write(layers.user, xml(text("a", "user") + text("b", "user")));
        write(layers.computer,
              xml(text("a", "computer") + text("b", "computer") + text("c", "computer")));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("managed")));
        QCOMPARE(layers["b"], QVariant(QStringLiteral("user")));
        QCOMPARE(layers["c"], QVariant(QStringLiteral("computer")));
        QCOMPARE(layers["d"], std::nullopt);
        QCOMPARE(layers["A"], std::nullopt);
        QCOMPARE(layers.reports(), QStringList());
        QCOMPARE(layers.store.domain(), domain());
    }

    void missingFilesAreEmptyLayersAndNoFault()
    {
        Layers layers;
        QCOMPARE(layers["a"], std::nullopt);
        write(layers.computer, xml(text("a", "x")));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("x")));
        QVERIFY(QFile::remove(layers.computer));
        QCOMPARE(layers["a"], std::nullopt);
        QCOMPARE(layers.reports(), QStringList());
    }

    void presentFalseHidesLowerLayers()
    {
        Layers layers;
        write(layers.managed, xml("<key>a</key><false/>"));
        write(layers.user, xml("<key>a</key><true/>"));
        QCOMPARE(layers["a"], QVariant(false));
    }

    void binaryAndXmlFilesAsPythonWritesThem_data()
    {
        QTest::addColumn<QString>("format");
        QTest::newRow("XML") << QStringLiteral("FMT_XML");
        QTest::newRow("binary") << QStringLiteral("FMT_BINARY");
    }
    void binaryAndXmlFilesAsPythonWritesThem()
    {
        QFETCH(QString, format);
        Layers layers;
        const QByteArray script =
            "import plistlib,sys;"
            "plistlib.dump({\"LogLevel\":2,\"On\":True,\"Name\":\"J\\u00f6rg\","
            "\"Ratio\":0.5,\"List\":[\"a\",1],\"Key\":b\"\\x01\\xff\"},"
            "open(sys.argv[1],\"wb\"),fmt=plistlib." +
            format.toLatin1() + ")";
        QCOMPARE(outputOf("python3 -c '" + script + "' '" + QFile::encodeName(layers.user) + "'"),
                 QByteArray());
        QCOMPARE(layers["LogLevel"], QVariant(qlonglong(2)));
        QCOMPARE(layers["On"], QVariant(true));
        QCOMPARE(layers["Name"], QVariant(QStringLiteral("J\u00f6rg")));
        QCOMPARE(layers["Ratio"], QVariant(0.5));
        QCOMPARE(layers["List"], QVariant(QVariantList{QStringLiteral("a"), qlonglong(1)}));
        QCOMPARE(layers["Key"], QVariant(QByteArray("\x01\xff")));
        QCOMPARE(layers.reports(), QStringList());
    }

    void anUnusableFileIsReportedOnceAndLeavesTheOthersInForce()
    {
        Layers layers;
        write(layers.user, "{ a = b; }");
        write(layers.computer, xml(text("a", "computer")));
        for (int i = 0; i < 5; ++i)
            QCOMPARE(layers["a"], QVariant(QStringLiteral("computer")));
        QCOMPARE(layers.reports().size(), 1);
        QVERIFY(layers.reported.first().startsWith(
            QStringLiteral("The defaults file \"%1\" is not used: ").arg(layers.user)));

        write(layers.user, "<plist><array/></plist>");
        for (int i = 0; i < 5; ++i)
            QCOMPARE(layers["a"], QVariant(QStringLiteral("computer")));
        QCOMPARE(layers.reports().size(), 2);
        QCOMPARE(layers.reported.last(),
                 QStringLiteral("The defaults file \"%1\" is not used: it holds no dictionary.")
                     .arg(layers.user));

        write(layers.user, xml(text("a", "user")));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("user")));
        QCOMPARE(layers.reports().size(), 2);
    }

    void aFileThatBecomesUnusableLosesItsOldValues()
    {
        Layers layers;
        write(layers.user, xml(text("a", "user")));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("user")));
        write(layers.user, "bplist00");
        QCOMPARE(layers["a"], std::nullopt);
        QCOMPARE(layers.reports().size(), 1);
    }

    // The level that decides whether the line is written is looked up first.
    void aProblemIsReportedByTheLookupAfterTheOneThatFoundIt()
    {
        Layers layers;
        write(layers.user, "junk");
        static_cast<void>(layers["LogLevel"]);
        QCOMPARE(layers.reported.size(), 0);
        static_cast<void>(layers["LogLevel"]);
        QCOMPARE(layers.reported.size(), 1);
    }

    void everyChangeTakesEffectAtTheNextLookup()
    {
        Layers layers;
        // Of one size, and faster than time stamps advance.
        for (int i = 100; i < 300; ++i) {
            const QByteArray value = QByteArray::number(i);
            write(layers.user, xml(text("a", value.constData())));
            QCOMPARE(layers["a"], QVariant(QString::fromLatin1(value)));
        }
        // Replaced by rename, with the old file's times.
        age(layers.user);
        QCOMPARE(layers["a"], QVariant(QStringLiteral("299")));
        const QString other = layers.user + QLatin1String(".new");
        write(other, xml(text("a", "new")));
        age(other);
        QVERIFY(QFile::remove(layers.user));
        QVERIFY(QFile::rename(other, layers.user));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("new")));
    }

    void aLookupReadsNothingWhileTheFilesStayAsTheyAre()
    {
        const auto readCalls = [] {
            QFile io(QStringLiteral("/proc/self/io"));
            io.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
            const QByteArray line = io.readAll().split('\n').value(2);
            return line.startsWith("syscr: ") ? line.mid(7).toLongLong() : -1;
        };
        Layers layers;
        write(layers.user, xml(text("a", "x")));
        const qint64 first = readCalls();
        const qint64 ownCost = readCalls() - first;
        QVERIFY(first > 0 && ownCost > 0);
        const auto costOfLookup = [&] {
            const qint64 before = readCalls();
            static_cast<void>(layers["a"]);
            return readCalls() - before - ownCost;
        };
        QVERIFY(costOfLookup() > 0);
        // A young file is read again until its time stamp tells its next state.
        QTRY_COMPARE_WITH_TIMEOUT(costOfLookup(), 0, 10'000);
        QCOMPARE(layers["a"], QVariant(QStringLiteral("x")));
        write(layers.user, xml(text("a", "y")));
        QVERIFY(costOfLookup() > 0);
    }

    void whatIsNoRegularFileIsRefusedWithoutWaiting_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("folder") << S_IFDIR;
        QTest::newRow("FIFO that nobody writes") << S_IFIFO;
        QTest::newRow("device that never ends") << S_IFCHR;
    }
    void whatIsNoRegularFileIsRefusedWithoutWaiting()
    {
        QFETCH(int, kind);
        Layers layers;
        const QByteArray path = QFile::encodeName(layers.user);
        if (kind == S_IFDIR)
            QCOMPARE(::mkdir(path.constData(), 0700), 0);
        else if (kind == S_IFIFO)
            QCOMPARE(::mkfifo(path.constData(), 0600), 0);
        else
            QVERIFY(QFile::link(QStringLiteral("/dev/zero"), layers.user));
        write(layers.computer, xml(text("a", "computer")));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("computer")));
        QCOMPARE(layers.reports(), QStringList{QStringLiteral("The defaults file \"%1\" is not "
                                                              "used: it is not a regular file.")
                                                   .arg(layers.user)});
    }

    void aLinkToAFileIsFollowed()
    {
        Layers layers;
        const QString target = layers.folder.filePath(QStringLiteral("target.plist"));
        write(target, xml(text("a", "x")));
        QVERIFY(QFile::link(target, layers.user));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("x")));
        write(target, xml(text("a", "y")));
        QCOMPARE(layers["a"], QVariant(QStringLiteral("y")));
    }

    void aFileAboveTheSizeLimitIsRefusedWithoutReadingItAll()
    {
        Layers layers;
        write(layers.user, xml(text("a", "x")));
        QCOMPARE(::truncate(QFile::encodeName(layers.user).constData(), off_t{1} << 40), 0);
        QCOMPARE(layers["a"], std::nullopt);
        QCOMPARE(layers.reports(),
                 QStringList{QStringLiteral("The defaults file \"%1\" is not used: the file is "
                                            "too large.")
                                 .arg(layers.user)});
    }

    void oneFileAloneMustExist()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("given.plist"));
        QStringList reported;
        const auto store = LinuxUserDefaults::forFile(
            domain(), path,
            [&](unsigned, DiagnosticType, const QString &line) { reported.append(line); });
        for (int i = 0; i < 3; ++i)
            QCOMPARE(store->objectForKey(QStringLiteral("a")), std::nullopt);
        QCOMPARE(reported, QStringList{QStringLiteral("The defaults file \"%1\" is not used: No "
                                                      "such file or directory.")
                                           .arg(path)});
        write(path, xml(text("a", "given")));
        QCOMPARE(store->objectForKey(QStringLiteral("a")), QVariant(QStringLiteral("given")));
        QCOMPARE(reported.size(), 1);
    }

    void aGivenFileIsTheOneNamedAtTheStart()
    {
        QTemporaryDir folder;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder.path()));
        write(QStringLiteral("given.plist"), xml(text("a", "x")));
        const auto store =
            LinuxUserDefaults::forFile(domain(), QStringLiteral("given.plist"), nullptr);
        QVERIFY(QDir::setCurrent(before));
        QCOMPARE(store->objectForKey(QStringLiteral("a")), QVariant(QStringLiteral("x")));
    }

    void threadsLookUpWhileTheFileIsReplaced()
    {
        Layers layers;
        write(layers.user, xml(text("a", "old")));
        std::atomic<bool> stop{false};
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                while (!stop) {
                    const QString value = layers["a"].value_or(QVariant()).toString();
                    if (value != QLatin1String("old") && value != QLatin1String("new"))
                        ++wrong;
                }
            });
        }
        const QString other = layers.user + QLatin1String(".new");
        for (int i = 0; i < 200; ++i) {
            write(other, xml(text("a", i % 2 == 0 ? "new" : "old")));
            QCOMPARE(::rename(QFile::encodeName(other).constData(),
                              QFile::encodeName(layers.user).constData()),
                     0);
        }
        stop = true;
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
        QCOMPARE(layers["a"], QVariant(QStringLiteral("old")));
        QCOMPARE(layers.reports(), QStringList());
    }

    void layerFilesOfAUser()
    {
        QCOMPARE(LinuxUserDefaults::layerFiles(domain(), QString(), QStringLiteral("/home/jdoe")),
                 (QStringList{
                     QStringLiteral("/Library/Managed Preferences/com.zevrik.selfservice.plist"),
                     QStringLiteral("/home/jdoe/Library/Preferences/com.zevrik.selfservice.plist"),
                     QStringLiteral("/Library/Preferences/com.zevrik.selfservice.plist")}));
        QCOMPARE(
            LinuxUserDefaults::layerFiles(domain(), QStringLiteral("/scratch"), std::nullopt),
            (QStringList{
                QStringLiteral("/scratch/Library/Managed Preferences/com.zevrik.selfservice.plist"),
                QStringLiteral("/scratch/Library/Preferences/com.zevrik.selfservice.plist")}));
    }

    void theHomeFolderIsTheAccountDatabases()
    {
        const QStringList fields =
            QString::fromLocal8Bit(outputOf("getent passwd " + QByteArray::number(::geteuid())))
                .split(QLatin1Char(':'));
        QCOMPARE(fields.size(), 7);
        const QByteArray environment = qgetenv("HOME");
        qputenv("HOME", "/elsewhere");
        QCOMPARE(LinuxUserDefaults::homeFolder(), fields.at(5));
        qputenv("HOME", environment);
    }

    void theRootPrefixIsPutBeforeTheComputersFolders()
    {
        QTemporaryDir root;
        write(root.filePath(QStringLiteral("Library/Preferences/com.zevrik.selfservice.plist")),
              xml(text("OnlyInThisTest", "computer")));
        const auto store = LinuxUserDefaults::forUser(domain(), root.path(), nullptr);
        QCOMPARE(store->objectForKey(QStringLiteral("OnlyInThisTest")),
                 QVariant(QStringLiteral("computer")));
        write(root.filePath(
                  QStringLiteral("Library/Managed Preferences/com.zevrik.selfservice.plist")),
              xml(text("OnlyInThisTest", "managed")));
        QCOMPARE(store->objectForKey(QStringLiteral("OnlyInThisTest")),
                 QVariant(QStringLiteral("managed")));
    }
};

QTEST_GUILESS_MAIN(tst_LinuxUserDefaults)
#include "tst_LinuxUserDefaults.moc"
