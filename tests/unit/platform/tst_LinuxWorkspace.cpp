#include "platform/linux/desktop/LinuxWorkspace.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

class tst_LinuxWorkspace : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QByteArray m_path;
    QStringList m_errors;

    LinuxWorkspace workspace()
    {
        return {m_folder.path(), [this](unsigned, DiagnosticType type, const QString &message) {
                    if (type == DiagnosticType::Error)
                        m_errors.append(message);
                }};
    }

    /// What the stand-in for xdg-open was given, one argument a line.
    QString opened() const
    {
        QFile file(m_folder.filePath(QStringLiteral("opened")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_path = qgetenv("PATH");
        QFile script(m_folder.filePath(QStringLiteral("xdg-open")));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nprintf '%s\\n' \"$#\" \"$@\" > '"
                     + m_folder.filePath(QStringLiteral("opened.new")).toUtf8() + "' && mv '"
                     + m_folder.filePath(QStringLiteral("opened.new")).toUtf8() + "' '"
                     + m_folder.filePath(QStringLiteral("opened")).toUtf8() + "'\n");
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    void init()
    {
        m_errors.clear();
        QFile::remove(m_folder.filePath(QStringLiteral("opened")));
        qputenv("PATH", m_folder.path().toUtf8() + ":" + m_path);
    }
    void cleanup() { qputenv("PATH", m_path); }

    void aPageIsHandedOnWhole()
    {
        LinuxWorkspace desk = workspace();
        const QString url = QStringLiteral("https://host:8443/app/#/PssEnroll");
        QVERIFY(desk.openUrl(url));
        QTRY_COMPARE(opened(), QStringLiteral("1\n") + url + QLatin1Char('\n'));
        QVERIFY(m_errors.isEmpty());
    }

    void onlyWebPagesAreOpened_data()
    {
        QTest::addColumn<QString>("url");
        for (const char *url :
             {"", "file:///etc/passwd", "javascript:alert(1)", "ftp://host/", "/etc/passwd",
              "host/app", "--help", "http://", "https:///path", "http:host", "httpx://host",
              "http://host/\nfile:///etc", "http://ho st/", "smb://host/share", "data:text/html,x"})
            QTest::newRow(*url ? url : "empty") << QString::fromLatin1(url);
        QTest::newRow("too long")
            << QStringLiteral("http://host/") + QString(9000, QLatin1Char('a'));
    }
    void onlyWebPagesAreOpened()
    {
        QFETCH(QString, url);
        LinuxWorkspace desk = workspace();
        QVERIFY(!desk.openUrl(url));
        QCOMPARE(m_errors.size(), 1);
        QVERIFY(m_errors.first().startsWith(QStringLiteral("Not opened")));
        QVERIFY(m_errors.first().size() < 400);
    }

    void withoutAnOpenerThereIsALogLine()
    {
        LinuxWorkspace desk = workspace();
        qputenv("PATH", "/nonexistent");
        QVERIFY(!desk.openUrl(QStringLiteral("http://host/")));
        QCOMPARE(m_errors,
                 QStringList{QStringLiteral(
                     "http://host/ cannot be opened: there is no xdg-open.")});
    }

    void bundleImages()
    {
        LinuxWorkspace desk = workspace();
        const QString bundle = QStringLiteral("/Library/ZevrikSelfService/Some.app");
        const QString folder = m_folder.path() + bundle + QStringLiteral("/Contents/Resources");
        QVERIFY(!desk.bundleImage(bundle, QStringLiteral("AppIcon")));
        QVERIFY(QDir().mkpath(folder));
        QFile damaged(folder + QStringLiteral("/AppIcon.png"));
        QVERIFY(damaged.open(QIODevice::WriteOnly));
        damaged.write("not an image");
        damaged.close();
        QVERIFY(!desk.bundleImage(bundle, QStringLiteral("AppIcon")));
        QCOMPARE(m_errors.size(), 1);
        QImage image(4, 4, QImage::Format_ARGB32);
        image.fill(Qt::red);
        QVERIFY(image.save(folder + QStringLiteral("/AppIcon.png")));
        const auto read = desk.bundleImage(bundle, QStringLiteral("AppIcon"));
        QVERIFY(read);
        QCOMPARE(read->size(), QSize(4, 4));
        QVERIFY(!desk.bundleImage(bundle, QStringLiteral("Other")));
    }

    void filesAreLookedForBelowTheRoot()
    {
        LinuxWorkspace desk = workspace();
        QVERIFY(!desk.fileExists(QStringLiteral("/etc/passwd")));
        QVERIFY(desk.fileExists(QStringLiteral("/xdg-open")));
    }
};

QTEST_GUILESS_MAIN(tst_LinuxWorkspace)
#include "tst_LinuxWorkspace.moc"
