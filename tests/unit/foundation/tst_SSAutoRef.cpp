#include "foundation/SSAutoRef.h"

#include <QTest>

namespace {
int releases = 0;
int lastReleased = 0;
void releaseCounted(int *ref)
{
    ++releases;
    lastReleased = *ref;
}
using Ref = SSAutoRef<int *, releaseCounted>;
} // namespace

class tst_SSAutoRef : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { releases = 0; }

    void releasesOnceWhenDestroyed()
    {
        int object = 7;
        {
            const auto holder = Ref::autoRef(&object);
            QCOMPARE(holder->ref(), &object);
            QCOMPARE(releases, 0);
        }
        QCOMPARE(releases, 1);
    }

    void nullReferenceReleasesNothing()
    {
        {
            const Ref holder(nullptr);
        }
        QCOMPARE(releases, 0);
    }

    void setRefNeitherReleasesNorRetains()
    {
        int first = 1;
        int second = 2;
        {
            Ref holder(&first);
            holder.setRef(&second);
            QCOMPARE(releases, 0);
        }
        QCOMPARE(releases, 1);
        QCOMPARE(lastReleased, 2);
    }
};

QTEST_GUILESS_MAIN(tst_SSAutoRef)
#include "tst_SSAutoRef.moc"
