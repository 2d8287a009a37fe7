#include "platform/linux/directory/DnsServiceRecords.h"

#include <QTest>

namespace {

DnsServiceRecord record(const char *host, quint16 priority, quint16 weight)
{
    return {QString::fromLatin1(host), 389, priority, weight};
}

QStringList hosts(const QList<DnsServiceRecord> &records)
{
    QStringList list;
    for (const DnsServiceRecord &one : records)
        list.append(one.host);
    return list;
}

} // namespace

class tst_LdapServiceRecords : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lowerPrioritiesComeFirst()
    {
        const auto ordered = DnsServiceRecords::ordered(
            {record("c", 20, 100), record("a", 0, 1), record("b", 10, 65535)},
            [](quint32 limit) { return limit; });
        QCOMPARE(hosts(ordered),
                 (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    }

    // By RFC 2782: the first record whose running sum of weights is at least the number drawn.
    void weightsDivideTheDraw_data()
    {
        QTest::addColumn<quint32>("draw");
        QTest::addColumn<QString>("first");
        QTest::newRow("0") << 0U << QStringLiteral("zero");
        QTest::newRow("1") << 1U << QStringLiteral("light");
        QTest::newRow("10") << 10U << QStringLiteral("light");
        QTest::newRow("11") << 11U << QStringLiteral("heavy");
        QTest::newRow("100") << 100U << QStringLiteral("heavy");
    }
    void weightsDivideTheDraw()
    {
        QFETCH(quint32, draw);
        QFETCH(QString, first);
        QList<quint32> limits;
        const auto ordered = DnsServiceRecords::ordered(
            {record("light", 0, 10), record("heavy", 0, 90), record("zero", 0, 0)},
            [&](quint32 limit) {
                limits.append(limit);
                return limits.size() == 1 ? draw : 0U;
            });
        QCOMPARE(ordered.size(), 3);
        QCOMPARE(ordered.first().host, first);
        QCOMPARE(limits.first(), 100U);
    }

    void anAnswerIsRead()
    {
        // One question and two answers, the second behind a compressed name.
        const QByteArray answer = QByteArray::fromHex(
            "123481800001000300000000"           // one question, three answers
            "055f6c646170045f746370026578000021" // _ldap._tcp.ex, SRV
            "0001"                               // IN
            "c00c0021000100000e10000c"           // the same name, 12 bytes
            "00050064018503646331c017"           // 5 100 389 dc1.ex
            "c00c0021000100000e10000a"           //
            "0000000001850161c017"               // 0 0 389 a.ex
            "c00c0001000100000e1000047f000001"); // an address, which is none of ours
        const auto records = DnsServiceRecords::parse(answer);
        const QList<DnsServiceRecord> expected{{QStringLiteral("dc1.ex"), 389, 5, 100},
                                               {QStringLiteral("a.ex"), 389, 0, 0}};
        QCOMPARE(records, expected);
    }

    void aCutAnswerIsNoCrash()
    {
        const QByteArray answer =
            QByteArray::fromHex("123481800001000100000000055f6c646170045f7463700265780000210001"
                                "c00c0021000100000e10000c00050064018503646331c017");
        QCOMPARE(DnsServiceRecords::parse(answer).size(), 1);
        for (qsizetype size = 0; size < answer.size(); ++size)
            QCOMPARE(DnsServiceRecords::parse(answer.left(size)).size(), 0);
    }

    void theRootStandsForNoService()
    {
        QCOMPARE(DnsServiceRecords::parse(
                     QByteArray::fromHex("1234818000000001000000000000210001000000000007"
                                         "00000000000000"))
                     .size(),
                 0);
    }
};

QTEST_GUILESS_MAIN(tst_LdapServiceRecords)
#include "tst_LdapServiceRecords.moc"
