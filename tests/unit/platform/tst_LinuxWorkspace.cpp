#include "platform/linux/desktop/LinuxWorkspace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

/// Runs against an "xdg-open" of its own that writes each argument on a line.
class tst_LinuxWorkspace : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QStringList m_log;

    [[nodiscard]] QString record() const { return m_folder.filePath(QStringLiteral("opened")); }
    LinuxWorkspace workspace()
    {
        return LinuxWorkspace(
            m_folder.filePath(QStringLiteral("root")),
            [this](unsigned, DiagnosticType, const QString &text) { m_log.append(text); });
    }
    QByteArray opened()
    {
        QFile file(record());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void init()
    {
        m_log.clear();
        QFile::remove(record());
        QDir().mkpath(m_folder.filePath(QStringLiteral("bin")));
        QFile script(m_folder.filePath(QStringLiteral("bin/xdg-open")));
        QVERIFY(script.open(QIODevice::WriteOnly));
        // Renamed into place, so that a reader never sees half of it.
        script.write("#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + record().toUtf8() +
                     ".new'\n/bin/mv '" + record().toUtf8() + ".new' '" + record().toUtf8() +
                     "'\n");
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        qputenv("PATH", m_folder.filePath(QStringLiteral("bin")).toUtf8());
    }

    void handsOnWebPages_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QByteArray>("argument");
        QTest::newRow("route") << QStringLiteral("http://sspr.example.test/pss/#/PssEnroll")
                               << QByteArray("http://sspr.example.test/pss/#/PssEnroll\n");
        QTest::newRow("https, port, query")
            << QStringLiteral("https://sspr.example.test:8443/a?b=c&d=e")
            << QByteArray("https://sspr.example.test:8443/a?b=c&d=e\n");
        QTest::newRow("upper-case scheme") << QStringLiteral("HTTPS://sspr.example.test/")
                                           << QByteArray("https://sspr.example.test/\n");
        QTest::newRow("user name") << QStringLiteral("https://jdoe@sspr.example.test/")
                                   << QByteArray("https://jdoe@sspr.example.test/\n");
        QTest::newRow("shell characters stay one argument")
            << QStringLiteral("http://sspr.example.test/$(id);x")
            << QByteArray("http://sspr.example.test/$(id);x\n");
    }
    void handsOnWebPages()
    {
        QFETCH(QString, url);
        QFETCH(QByteArray, argument);
        QVERIFY(workspace().openUrl(url));
        QTRY_COMPARE_WITH_TIMEOUT(opened(), argument, 60000);
        QVERIFY(m_log.isEmpty());
    }

    void refusesEverythingElse_data()
    {
        QTest::addColumn<QString>("url");
        for (const char *url :
             {"", "file:///etc/passwd", "javascript:alert(1)", "ftp://h/", "http://", "http:///p",
              "https:", "sspr.example.test/pss", "--help", "-http://h/", " http://h/",
              "http://h/\n", "http://h/a b", "http://h/\t", "http://h\\@evil/", "http://h:port/",
              "data:text/html,x", "mailto:a@b", "http://h/\x7f"})
            QTest::newRow(url) << QString::fromLatin1(url);
        QTest::newRow("embedded null") << QStringLiteral("http://h/") + QChar(0);
    }
    void refusesEverythingElse()
    {
        QFETCH(QString, url);
        QVERIFY(!workspace().openUrl(url));
        QCOMPARE(m_log.size(), 1);
    }

    void saysWhenTheOpenerIsMissing()
    {
        qputenv("PATH", m_folder.path().toUtf8());
        QVERIFY(!workspace().openUrl(QStringLiteral("http://sspr.example.test/")));
        QCOMPARE(m_log.size(), 1);
        QVERIFY(m_log.first().contains(QStringLiteral("xdg-open")));
    }

    void readsImagesBelowTheRoot()
    {
        const QString bundle = QStringLiteral("/Library/Test.app");
        const QString folder = m_folder.filePath(QStringLiteral("root")) + bundle +
                               QStringLiteral("/Contents/Resources");
        QVERIFY(QDir().mkpath(folder));
        QImage red(3, 2, QImage::Format_ARGB32);
        red.fill(Qt::red);
        QVERIFY(red.save(folder + QStringLiteral("/AppIcon.png")));
        QFile broken(folder + QStringLiteral("/Broken.png"));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("no image");
        broken.close();

        const auto image = workspace().bundleImage(bundle, QStringLiteral("AppIcon"));
        QVERIFY(image);
        QCOMPARE(image->size(), QSize(3, 2));
        QCOMPARE(image->pixelColor(1, 1), QColor(Qt::red));
        QVERIFY(!workspace().bundleImage(bundle, QStringLiteral("Broken")));
        QVERIFY(!workspace().bundleImage(bundle, QStringLiteral("Missing")));
        QVERIFY(!workspace().bundleImage(bundle, QStringLiteral("../Resources/AppIcon")));
        QVERIFY(!workspace().bundleImage(QStringLiteral("/Other.app"), QStringLiteral("AppIcon")));
        QVERIFY(workspace().fileExists(bundle));
        QVERIFY(!workspace().fileExists(QStringLiteral("/Other.app")));
    }
};

QTEST_GUILESS_MAIN(tst_LinuxWorkspace)
#include "tst_LinuxWorkspace.moc"
