#include "tests/unit/app/ctl/ControlFixture.h"
#include "tests/unit/security/OfflineTestSupport.h"

using namespace Qt::Literals::StringLiterals;

namespace {

class Fixture : public ControlFixture
{
public:
    Fixture()
    {
        fake.cryptography->backend = std::make_shared<LinuxCryptography>();
        fake.platform.publicKeys = std::make_shared<LinuxPublicKeyService>();
    }
    void type(const QByteArray &line) { fake.secretInput->lines.append(line); }
    void typeUtf16(const QString &passwordHex)
    {
        const QByteArray utf16 = QByteArray::fromHex(passwordHex.toLatin1());
        QString text;
        for (qsizetype i = 0; i + 1 < utf16.size(); i += 2)
            text += QChar(static_cast<char16_t>(static_cast<unsigned char>(utf16[i]) |
                                                static_cast<unsigned char>(utf16[i + 1]) << 8));
        type(text.toUtf8());
    }
    void typeKey(const QString &keyHex) { type(QByteArray::fromHex(keyHex.toLatin1()).toBase64()); }
    int runWith(const QStringList &arguments)
    {
        std::vector<QByteArray> bytes;
        std::vector<const char *> pointers;
        for (const QString &argument : arguments)
            bytes.push_back(argument.toUtf8());
        for (const QByteArray &argument : bytes)
            pointers.push_back(argument.constData());
        return run(pointers);
    }
};

QString text(const QJsonValue &value, const char *name)
{
    return value[QLatin1String(name)].toString();
}

} // namespace

class tst_SSControlOffline : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dcc2OfEveryCase()
    {
        forEachCase("dcc2", [](const QJsonValue &value) {
            const QString user = text(value, "user");
            if (user.isEmpty() || user.size() > 256)
                return;
            Fixture f;
            f.typeUtf16(text(value, "password_utf16le"));
            QCOMPARE(f.runWith({u"offline"_s, u"dcc2"_s, u"--user"_s, user, u"--iterations"_s,
                                QString::number(number(value[u"iterations"_s]))}),
                     0);
            QCOMPARE(f.output, text(value, "hash") + u'\n');
            QCOMPARE(f.fake.secretInput->prompts, QStringList{u"Password: "_s});
        });
    }

    void hashOfEveryCase()
    {
        forEachCase("reset_hash", [](const QJsonValue &value) {
            Fixture f;
            f.typeUtf16(text(value, "password_utf16le"));
            f.typeKey(text(value, "key"));
            QCOMPARE(f.runWith({u"offline"_s, u"hash"_s, u"--user"_s, text(value, "user"),
                                u"--random"_s, QString::number(number(value[u"random"_s]))}),
                     0);
            QCOMPARE(f.output, text(value, "hash") + u'\n');
            QCOMPARE(f.fake.secretInput->prompts,
                     (QStringList{u"Password: "_s, u"Session key in Base64: "_s}));
        });
    }

    void parseOfEveryCase()
    {
        forEachCase("response", [](const QJsonValue &value) {
            Fixture f;
            f.type(text(value, "text").toLatin1());
            const QString random = QString::number(number(value[u"random"_s]));
            QCOMPARE(f.runWith({u"offline"_s, u"parse"_s, u"--random"_s, random, u"--json"_s}), 0);
            QCOMPARE(f.json(), (QJsonObject{{u"payload"_s, text(value, "payload")}}));
        });
    }

    void aResponseOfAnotherRequestIsRefused()
    {
        Fixture f;
        f.type("5ROB-IJVJ-HDL7-A4BX-DAHM-E35M-MEMM-4IFR");
        QCOMPARE(f.run({"offline", "parse", "--random", "1"}), 1);
        QVERIFY(f.errors.contains(u"Response code hash is incorrect."_s));
        QVERIFY(f.errors.contains(u"the response code does not verify"_s));
        QVERIFY(f.output.isEmpty());
    }

    void aRequestTellsItsCodeAndItsRandomNumber()
    {
        // The generator counts 1, 2, 3, 4: the random number 0x04030201 of the first case.
        QJsonValue first;
        forEachCase("request", [&](const QJsonValue &value) {
            if (number(value[u"random"_s]) == 0x04030201 && first.isNull())
                first = value;
        });
        QVERIFY(!first.isNull());
        Fixture f;
        f.typeKey(text(first, "key"));
        QCOMPARE(f.runWith({u"offline"_s, u"request"_s, u"--rid"_s,
                            QString::number(number(first[u"rid"_s])), u"--json"_s}),
                 0);
        QCOMPARE(f.json()[u"random"_s].toInteger(), 0x04030201);
        QCOMPARE(f.json()[u"requestCode"_s].toString(), text(first, "text"));
    }

    void leadingZerosOfANumberMeanNothing()
    {
        const QByteArray key = QByteArray(128, 'k').toBase64();
        QStringList codes;
        for (const char *rid : {"1104", "01104", "0x450"}) {
            Fixture f;
            f.type(key);
            QCOMPARE(f.run({"offline", "request", "--rid", rid}), 0);
            codes.append(f.output);
        }
        QCOMPARE(codes.at(1), codes.at(0));
        QCOMPARE(codes.at(2), codes.at(0));
    }

    void withoutASecretThereIsNoAnswer()
    {
        Fixture f;
        QCOMPARE(f.run({"offline", "dcc2", "--user", "jdoe"}), 1);
        QVERIFY(f.errors.contains(u"no password: the input has ended"_s));
        f.type("not base64");
        QCOMPARE(f.run({"offline", "request", "--rid", "1"}), 1);
        QVERIFY(f.errors.contains(u"the session key is not Base64"_s));
        f.type("\xff");
        QCOMPARE(f.run({"offline", "dcc2", "--user", "jdoe"}), 1);
        QVERIFY(f.errors.contains(u"the password is not UTF-8 text"_s));
        QCOMPARE(f.run({"offline", "request", "--cached"}), 1);
        QVERIFY(f.errors.contains(u"there is no session key in the cache"_s));
    }

    void aPasswordIsUtf8Text_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("overlong") << QByteArray("\xc0\xaf");
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80");
        QTest::newRow("beyond Unicode") << QByteArray("\xf4\x90\x80\x80");
        QTest::newRow("cut off") << QByteArray("secret\xe2\x82");
        QTest::newRow("in the middle") << QByteArray("se\xffret");
    }
    void aPasswordIsUtf8Text()
    {
        QFETCH(QByteArray, line);
        Fixture f;
        f.type(line);
        QCOMPARE(f.run({"offline", "dcc2", "--user", "jdoe"}), 1);
        QVERIFY(f.errors.contains(u"the password is not UTF-8 text"_s));
        QVERIFY(f.output.isEmpty());
        f.type(line);
        QCOMPARE(f.run({"offline", "request", "--rid", "1"}), 1);
        QVERIFY(f.errors.contains(u"the session key is not Base64"_s));
    }

    // U+FEFF, U+1F511 and U+00E4: nothing of a password is left out. By Python's pbkdf2_hmac over
    // MD4 of RFC 1320.
    void everyCharacterOfAPasswordCounts()
    {
        Fixture f;
        f.type("\xef\xbb\xbf\xf0\x9f\x94\x91\xc3\xa4");
        QCOMPARE(f.run({"offline", "dcc2", "--user", "jdoe", "--iterations", "3"}), 0);
        QCOMPARE(f.output, u"6b24dc871c535e8948011b71dd2dd1d0\n"_s);
    }

    void aKeyOfAnotherLengthIsRefused()
    {
        Fixture f;
        f.type(QByteArray(127, 'k').toBase64());
        QCOMPARE(f.run({"offline", "request", "--rid", "1"}), 1);
        QVERIFY(f.errors.contains(
            u"Unable generate request code. Session key size is incorrect. Size: 127"_s));
    }

    void noSecretIsPrintedOrLogged()
    {
        Fixture f;
        f.fake.defaults->values.insert(u"LogLevel"_s, 2);
        f.type("Correct-Horse-7");
        f.type(QByteArray(128, 'k').toBase64());
        QCOMPARE(f.run({"offline", "hash", "--user", "jdoe", "--random", "0x10"}), 0);
        const QString all = f.output + f.errors + f.fake.log->rawLines().join(QString());
        QVERIFY(!all.contains(u"Horse"_s));
        QVERIFY(!all.contains(u"a2tr"_s)); // Base64 of "kkk"
    }

    void wrongUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("fault");
        QTest::newRow("no such action")
            << QStringList{u"guess"_s} << u"there is no \"offline guess\""_s;
        QTest::newRow("no user") << QStringList{u"dcc2"_s} << u"\"offline dcc2\" needs --user"_s;
        QTest::newRow("no random number")
            << QStringList{u"parse"_s} << u"\"offline parse\" needs --random"_s;
        QTest::newRow("neither RID nor cache")
            << QStringList{u"request"_s} << u"needs --rid or --cached"_s;
        QTest::newRow("not its option")
            << QStringList{u"parse"_s, u"--random"_s, u"1"_s, u"--user"_s, u"jdoe"_s}
            << u"\"offline parse\" takes no --user"_s;
        QTest::newRow("too large") << QStringList{u"parse"_s, u"--random"_s, u"4294967296"_s}
                                   << u"--random is no number of 32 bits"_s;
        for (const QString &text :
             {u"0x0x10"_s, u"0x"_s, u"0x+1"_s, u"+1"_s, u" 1"_s, u"f"_s, u"0x100000000"_s})
            QTest::newRow(qPrintable(u"not a number: "_s + text))
                << QStringList{u"parse"_s, u"--random"_s, text}
                << u"--random is no number of 32 bits"_s;
        QTest::newRow("negative") << QStringList{u"request"_s, u"--rid=-1"_s}
                                  << u"--rid is no number of 32 bits"_s;
        QTest::newRow("iterations")
            << QStringList{u"dcc2"_s, u"--user"_s, u"jdoe"_s, u"--iterations"_s, u"many"_s}
            << u"--iterations is no number"_s;
        QTest::newRow("more iterations than 32 bits")
            << QStringList{u"dcc2"_s, u"--user"_s, u"jdoe"_s, u"--iterations"_s, u"2147483648"_s}
            << u"--iterations is no number"_s;
        QTest::newRow("iterations for hours")
            << QStringList{u"dcc2"_s, u"--user"_s, u"jdoe"_s, u"--iterations"_s, u"10000001"_s}
            << u"--iterations is at most 10000000"_s;
    }
    void wrongUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, fault);
        Fixture f;
        QCOMPARE(f.runWith(QStringList{u"offline"_s} + arguments), 2);
        QVERIFY2(f.errors.contains(fault), qPrintable(f.errors));
        QCOMPARE(f.platformsMade, 0);
    }

    void iterationsBelowOneAreRefused()
    {
        Fixture f;
        f.type("x");
        QCOMPARE(f.run({"offline", "dcc2", "--user", "jdoe", "--iterations", "0"}), 1);
        QVERIFY(f.errors.contains(u"Iterations count is invalid: 0."_s));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlOffline)
#include "tst_SSControlOffline.moc"
