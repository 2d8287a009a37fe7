#include "tests/unit/app/ctl/ControlFixture.h"
#include "tests/unit/security/OfflineTestSupport.h"

#include <QTemporaryDir>

using namespace Qt::Literals::StringLiterals;

namespace {

class Fixture : public ControlFixture
{
public:
    Fixture() { fake.platform.publicKeys = std::make_shared<LinuxPublicKeyService>(); }

    QByteArray file(const QByteArray &contents)
    {
        const QString path = folder.filePath(u"key"_s);
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(contents) != contents.size())
            qFatal("the test's file cannot be written");
        return path.toUtf8();
    }
    void publish(const QByteArray &blob)
    {
        const QString text = QString::fromLatin1(blob.toBase64());
        addPoint(u"host"_s, pointKeywords({u"ConfigurationSet.Key:0="_s + text.left(200),
                                           u"ConfigurationSet.Key:1="_s + text.mid(200)}));
    }

private:
    QTemporaryDir folder;
};

/// The first case of the list of keys.
struct Case
{
    QByteArray blob;
    QByteArray der;
};
Case firstCase()
{
    Case result;
    forEachCase("key", [&](const QJsonValue &value) {
        if (!result.blob.isEmpty())
            return;
        result = {QByteArray::fromHex(value[u"blob"_s].toString().toLatin1()),
                  QByteArray::fromHex(value[u"der"_s].toString().toLatin1())};
    });
    return result;
}

} // namespace

class tst_SSControlKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePublishedKeyIsChecked()
    {
        Fixture f;
        f.publish(firstCase().blob);
        QCOMPARE(f.run({"key", "check"}), 0);
        QCOMPARE(f.output, u"The key can be used: RSA, 2048 bits.\n"_s);
        QCOMPARE(f.run({"key", "check", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"valid"_s, true}, {u"length"_s, 276}}));
    }

    void aKeyThatCannotBeUsedIsAFailureWithItsReason()
    {
        Fixture f;
        f.publish(firstCase().blob.left(275));
        QCOMPARE(f.run({"key", "check", "--json"}), 1);
        QCOMPARE(f.json(), (QJsonObject{{u"valid"_s, false}, {u"length"_s, 275}}));
        QVERIFY(f.errors.contains(u"Public key actual key size is invalid. (276 != 275)"_s));
    }

    void withoutAPublishedKeyThereIsNothingToCheck()
    {
        Fixture f;
        QCOMPARE(f.run({"key", "check"}), 1);
        QVERIFY(f.errors.contains(u"no connection point of the service was found"_s));
        f.addPoint(u"host"_s, Fixture::pointKeywords());
        QCOMPARE(f.run({"key", "to-der"}), 1);
        QVERIFY(f.errors.contains(u"the connection point publishes no key"_s));
    }

    void derOfAFileInEveryForm()
    {
        const Case key = firstCase();
        for (const QByteArray &contents :
             {key.blob, key.blob.toBase64(), QByteArray(key.blob.toBase64() + "\n")}) {
            Fixture f;
            QCOMPARE(f.run({"key", "to-der", f.file(contents).constData(), "--json"}), 0);
            QCOMPARE(QByteArray::fromBase64(f.json()[u"der"_s].toString().toLatin1()), key.der);
        }
        Fixture f;
        QCOMPARE(f.run({"key", "to-der", f.file(key.blob).constData()}), 0);
        QVERIFY(f.output.startsWith(u"-----BEGIN RSA PUBLIC KEY-----\n"_s));
        QVERIFY(f.output.endsWith(u"\n-----END RSA PUBLIC KEY-----\n"_s));
    }

    void blobOfAFileInEveryForm()
    {
        const Case key = firstCase();
        const QByteArray pem = "-----BEGIN RSA PUBLIC KEY-----\n" + key.der.toBase64() +
                               "\n-----END RSA PUBLIC KEY-----\n";
        for (const QByteArray &contents : {key.der, key.der.toBase64(), pem}) {
            Fixture f;
            QCOMPARE(f.run({"key", "to-blob", f.file(contents).constData(), "--json"}), 0);
            QCOMPARE(QByteArray::fromBase64(f.json()[u"blob"_s].toString().toLatin1()), key.blob);
            const QJsonArray keywords = f.json()[u"keywords"_s].toArray();
            QCOMPARE(keywords.size(), 2);
            QString joined;
            for (qsizetype i = 0; i < 2; ++i) {
                const QString keyword = keywords[i].toString();
                const QString prefix = u"ConfigurationSet.Key:%1="_s.arg(i);
                QVERIFY(keyword.startsWith(prefix));
                QVERIFY(keyword.size() <= 256);
                joined += keyword.mid(prefix.size());
            }
            QCOMPARE(joined, f.json()[u"blob"_s].toString());
        }
    }

    void whatIsNoKeyIsRefused()
    {
        Fixture f;
        QCOMPARE(f.run({"key", "to-blob", f.file("rubbish").constData()}), 1);
        QVERIFY(f.errors.contains(u"the key cannot be converted"_s));
        QCOMPARE(f.run({"key", "to-blob", f.file("").constData()}), 1);
        QCOMPARE(f.run({"key", "to-blob", f.file(QByteArray(70'000, 'x')).constData()}), 1);
        QVERIFY(f.errors.contains(u"longer than a key may be"_s));
        QCOMPARE(f.run({"key", "to-blob", "/no/such/file"}), 1);
        QVERIFY(f.errors.contains(u"/no/such/file: "_s));
        QCOMPARE(f.run({"key", "to-blob", "/dev/zero"}), 1);
        QVERIFY(f.errors.contains(u"not a regular file"_s));
    }

    void wrongUsage()
    {
        Fixture f;
        QCOMPARE(f.run({"key", "turn"}), 2);
        QVERIFY(f.errors.contains(u"there is no \"key turn\", only check, to-der and to-blob"_s));
        QCOMPARE(f.run({"key", "to-blob"}), 2);
        QVERIFY(f.errors.contains(u"\"key to-blob\" needs a file"_s));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlKey)
#include "tst_SSControlKey.moc"
