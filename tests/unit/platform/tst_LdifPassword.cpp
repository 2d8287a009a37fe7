#include "platform/embedded/directory/LdifPassword.h"
#include "platform/text/PasswordBytes.h"

#include <QTest>

class tst_LdifPassword : public QObject
{
    Q_OBJECT

    static QByteArray utf8(const PasswordBytes &password)
    {
        const auto bytes = password.bytes();
        return QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size()));
    }

private Q_SLOTS:
    void passwordsBecomeUtf8()
    {
        // Made with Python: "Grün€𝄞1".encode().hex()
        const PasswordBytes password(u"Grün€𝄞1");
        QVERIFY(password.isValid());
        QCOMPARE(utf8(password), QByteArray::fromHex("4772c3bc6ee282acf09d849e31"));
        QCOMPARE(*(password.bytes().data() + password.bytes().size()), '\0');

        const PasswordBytes empty(u"");
        QVERIFY(empty.isValid());
        QCOMPARE(empty.bytes().size(), 0U);
        QCOMPARE(*empty.bytes().data(), '\0');
    }

    void textThatIsNoPasswordIsInvalid()
    {
        using namespace std::string_view_literals;
        constexpr char16_t high[] = {u'a', 0xD834, u'b'};
        constexpr char16_t atEnd[] = {u'a', 0xD834};
        constexpr char16_t low[] = {0xDD1E, u'a'};
        for (const std::u16string_view text :
             {std::u16string_view(high, 3), std::u16string_view(atEnd, 2),
              std::u16string_view(low, 2), u"right\0wrong"sv}) {
            const PasswordBytes password(text);
            QVERIFY(!password.isValid());
            QCOMPARE(password.bytes().size(), 0U);
        }
    }

    void storedForms_data()
    {
        QTest::addColumn<QByteArray>("stored");
        // Made with Python's hashlib and base64 of "Grün€𝄞1", the salt being "salt8byt".
        QTest::newRow("SHA256") << QByteArray(
            "{SHA256}58rbyQfRg/oMCR39Bxpo4rMQnobUwO4PAjB10W6X7DM=");
        QTest::newRow("SSHA256") << QByteArray(
            "{SSHA256}UyD2m9eFfUn/bJ41X0+3Dyv0GEthigu7b+FIYTHAOt9zYWx0OGJ5dA==");
        QTest::newRow("scheme in small letters")
            << QByteArray("{ssha256}UyD2m9eFfUn/bJ41X0+3Dyv0GEthigu7b+FIYTHAOt9zYWx0OGJ5dA==");
        QTest::newRow("plain") << QByteArray::fromHex("4772c3bc6ee282acf09d849e31");
    }
    void storedForms()
    {
        QFETCH(QByteArray, stored);
        QCOMPARE(LdifPassword::matches(stored, PasswordBytes(u"Grün€𝄞1").bytes()), true);
        QCOMPARE(LdifPassword::matches(stored, PasswordBytes(u"Grün€𝄞2").bytes()), false);
        QCOMPARE(LdifPassword::matches(stored, PasswordBytes(u"Grün€𝄞").bytes()), false);
        QCOMPARE(LdifPassword::matches(stored, PasswordBytes(u"").bytes()), false);
    }

    void damagedFormsTellNothing()
    {
        for (const char *stored : {"{SSHA256}", "{SSHA256}!!",
                                   "{MD5}rL0Y20zC+Fzt72VPzMSk2A==", "{unclosed", "{SHA256}YQ==",
                                   // a salted hash without a salt
                                   "{SSHA256}58rbyQfRg/oMCR39Bxpo4rMQnobUwO4PAjB10W6X7DM="})
            QVERIFY(!LdifPassword::matches(stored, PasswordBytes(u"a").bytes()).has_value());
    }
};

QTEST_GUILESS_MAIN(tst_LdifPassword)
#include "tst_LdifPassword.moc"
