#include "tests/integration/web/WebFixture.h"

#include <QTest>

/// What breaks off is lost, each time: how the end meets what was sent before is a matter of luck.
class tst_WebCutOff : public WebFixture
{
    Q_OBJECT

private:
    static constexpr int rounds = 50;

private Q_SLOTS:
    void aBodyThatIsCutOffIsLost_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("secure");
        for (const QString &place : {QStringLiteral("in-length"), QStringLiteral("in-size"),
                                     QStringLiteral("in-chunk"), QStringLiteral("at-chunk-end"),
                                     QStringLiteral("after-chunk"), QStringLiteral("after-zero")}) {
            const QString path = QStringLiteral("/cut/") + place;
            QTest::addRow("%s, plain", qPrintable(place)) << path << false;
            QTest::addRow("%s, TLS", qPrintable(place)) << path << true;
            QTest::addRow("%s, TLS with its goodbye", qPrintable(place))
                << path + QStringLiteral("?goodbye") << true;
        }
        QTest::addRow("reset, plain") << QStringLiteral("/cut/in-length?reset") << false;
        QTest::addRow("reset, TLS") << QStringLiteral("/cut/in-length?reset") << true;
        QTest::addRow("reset after a chunk") << QStringLiteral("/cut/after-chunk?reset") << false;
    }
    void aBodyThatIsCutOffIsLost()
    {
        QFETCH(QString, path);
        QFETCH(bool, secure);
        for (int i = 0; i < rounds; ++i) {
            const auto heard = fetch(secure ? m_servers->secure(path) : m_servers->plain(path));
            QVERIFY(heard);
            QVERIFY2(heard->error, qPrintable(QString::number(i)));
            QVERIFY2(heard->error->code == UrlError::Code::ConnectionLost,
                     qPrintable(heard->error->localizedDescription));
        }
    }

    void aWholeBodyIsNotLost_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QByteArray>("body");
        const QString whole = QStringLiteral("/cut/nowhere");
        QTest::newRow("chunked") << m_servers->plain(whole) << QByteArray("short");
        QTest::newRow("chunked, TLS") << m_servers->secure(whole) << QByteArray("short");
        const QString open = QStringLiteral("/until-close");
        QTest::newRow("to the end") << m_servers->plain(open) << QByteArray("until close");
        QTest::newRow("to the end, TLS") << m_servers->secure(open) << QByteArray("until close");
        QTest::newRow("to the end, TLS with its goodbye")
            << m_servers->secure(open + QStringLiteral("?goodbye")) << QByteArray("until close");
    }
    void aWholeBodyIsNotLost()
    {
        QFETCH(QString, url);
        QFETCH(QByteArray, body);
        for (int i = 0; i < rounds; ++i) {
            const auto heard = fetch(url);
            QVERIFY(heard);
            QVERIFY2(!heard->error,
                     qPrintable(heard->error.value_or(UrlError()).localizedDescription));
            QCOMPARE(heard->body, body);
        }
    }
};

QTEST_GUILESS_MAIN(tst_WebCutOff)
#include "tst_WebCutOff.moc"
