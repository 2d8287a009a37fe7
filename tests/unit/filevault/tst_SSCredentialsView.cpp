#include "filevault/SSCredentialsView.h"

#include "filevault/SSElidedLabel.h"
#include "filevault/SSSecureTextField.h"
#include "tests/support/FakePlatform.h"

#include <QAccessible>
#include <QApplication>
#include <QLineEdit>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString shortText = u"User:"_s;
const QString longText = QString(80, u'W');

QRect inPanel(const SSCredentialsView &view, const QWidget *widget)
{
    return {widget->mapTo(&view, QPoint(0, 0)), widget->size()};
}

/// The lowest row of the widget that is not of its background's colour, between two columns.
int lowestInk(QWidget *widget, int left, int right)
{
    const QImage image = widget->grab().toImage();
    const QRgb ground = image.pixel(left, 3);
    for (int y = image.height() - 6; y >= 0; --y) {
        for (int x = left; x < right - 1; ++x) {
            if (image.pixel(x, y) != ground)
                return y;
        }
    }
    return -1;
}

} // namespace

class tst_SSCredentialsView : public QObject
{
    Q_OBJECT

    FakePlatform m_platform;

    static std::unique_ptr<SSCredentialsView> make(const std::optional<QString> &name,
                                                   const QString &password)
    {
        auto view = SSCredentialsView::initWithUserNameString(name, password);
        view->show();
        return view;
    }

private Q_SLOTS:
    void cleanup()
    {
        QApplication::setLayoutDirection(Qt::LeftToRight);
        QApplication::setFont(QFont());
    }

    void aPanelWithBothRows()
    {
        const auto view = make(u"Name"_s, u"Secret"_s);
        QVERIFY(view->userName());
        QCOMPARE(view->userNameLabel()->plainText(), u"Name"_s);
        QCOMPARE(view->passwordLabel()->plainText(), u"Secret"_s);
        QVERIFY(view->userNameEdit()->text().isEmpty());
        QVERIFY(view->passwordEdit()->text().isEmpty());
        QCOMPARE(view->size(), view->sizeHint());
    }

    void anEmptyUserNameTextIsARowAllTheSame()
    {
        QVERIFY(make(QString(), u"Secret"_s)->userName());
        QVERIFY(!make(std::nullopt, u"Secret"_s)->userName());
    }

    void theConstraints_data()
    {
        QTest::addColumn<std::optional<QString>>("name");
        QTest::addColumn<QString>("password");
        QTest::addColumn<int>("width"); // 0: as it fits
        QTest::addColumn<bool>("mirrored");
        const std::optional<QString> none;
        for (const bool mirrored : {false, true}) {
            const auto row = [mirrored](const char *name) -> QTestData & {
                return QTest::newRow((QByteArray(mirrored ? "mirrored: " : "") + name).constData());
            };
            row("both short") << std::optional(shortText) << shortText << 0 << mirrored;
            row("name longer") << std::optional(u"The administrator's name:"_s) << shortText << 0
                               << mirrored;
            row("password longer")
                << std::optional(shortText) << u"The administrator's password:"_s << 0 << mirrored;
            row("password alone") << none << shortText << 0 << mirrored;
            row("a long label") << none << longText << 0 << mirrored;
            row("very long labels") << std::optional(longText + longText + longText)
                                    << (longText + longText) << 0 << mirrored;
            row("wide") << std::optional(shortText) << shortText << 1000 << mirrored;
            row("narrow") << std::optional(u"The administrator's name:"_s) << longText << 300
                          << mirrored;
            row("wider than may be") << std::optional(shortText) << shortText << 1500 << mirrored;
            row("narrower than may be") << std::optional(shortText) << shortText << 100 << mirrored;
        }
    }
    void theConstraints()
    {
        QFETCH(std::optional<QString>, name);
        QFETCH(QString, password);
        QFETCH(int, width);
        QFETCH(bool, mirrored);
        if (mirrored)
            QApplication::setLayoutDirection(Qt::RightToLeft);
        const auto view = make(name, password);
        if (width > 0)
            view->resize(width, view->height());

        // Measured from the side where reading begins.
        const auto placed = [&](const QWidget *widget) {
            QRect rect = inPanel(*view, widget);
            if (mirrored)
                rect.moveLeft(view->width() - rect.x() - rect.width());
            return rect;
        };
        QVERIFY(view->width() >= 300);
        QVERIFY(view->width() <= 1000);
        const QRect plate = placed(view->plate());
        QVERIFY(plate.left() >= 5);
        QVERIFY(view->width() - (plate.left() + plate.width()) >= 5);
        QCOMPARE(plate.top(), 0);
        QCOMPARE(plate.height(), view->height());
        QVERIFY(qAbs(2 * plate.left() + plate.width() - view->width()) <= 1);

        const QRect label = placed(view->passwordLabel());
        const QRect entry = placed(view->passwordEdit());
        QVERIFY(label.left() >= plate.left());
        QCOMPARE(entry.left(), label.left() + label.width() + 4);
        QCOMPARE(entry.left() + entry.width(), plate.left() + plate.width());
        QCOMPARE(entry.top() + entry.height(), plate.top() + plate.height());
        QVERIFY(entry.width() >= 80);
        QVERIFY(entry.width() <= 200);
        const int wanted = view->passwordLabel()->sizeHint().width();
        QVERIFY(label.width() <= wanted);
        // The entry is narrower than it would be only where there is no room, and the labels are
        // cut only when it cannot give way any more.
        if (entry.width() < 200)
            QVERIFY(view->width() == 1000 || width == 300);
        if (label.width() < wanted)
            QCOMPARE(entry.width(), 80);
        if (name) {
            const QRect nameLabel = placed(view->userNameLabel());
            const QRect nameEntry = placed(view->userNameEdit());
            QVERIFY(nameLabel.left() >= plate.left());
            QCOMPARE(nameEntry.top(), plate.top());
            QCOMPARE(nameEntry.left(), nameLabel.left() + nameLabel.width() + 4);
            QCOMPARE(nameEntry.left(), entry.left());
            QCOMPARE(nameEntry.width(), entry.width());
            QCOMPARE(entry.top(), nameEntry.top() + nameEntry.height() + 6);
        } else {
            QCOMPARE(entry.top(), plate.top());
        }
    }

    void theFittingWidth()
    {
        // 5 + label + 4 + 200 + 5, from 300 to 1000.
        QCOMPARE(make(std::nullopt, shortText)->sizeHint().width(), 300);
        const auto wide = make(std::nullopt, longText.left(40));
        const int label = wide->passwordLabel()->sizeHint().width();
        QVERIFY(label > 90 && label < 780);
        QCOMPARE(wide->sizeHint().width(), label + 214);
        QCOMPARE(make(longText + longText + longText, shortText)->sizeHint().width(), 1000);
    }

    void labelAndEntryShareTheirBaseLine_data()
    {
        QTest::addColumn<int>("points");
        for (const int points : {7, 9, 10, 13, 18, 24})
            QTest::addRow("%d points", points) << points;
    }
    void labelAndEntryShareTheirBaseLine()
    {
        QFETCH(int, points);
        QFont font = QApplication::font();
        font.setPointSize(points);
        QApplication::setFont(font);
        const auto view = make(u"HHH"_s, u"HHH"_s);
        view->userNameEdit()->setText(u"HHH"_s);
        const QRect label = inPanel(*view, view->userNameLabel());
        const QRect entry = inPanel(*view, view->userNameEdit());
        const int labelLine = label.top() + lowestInk(view->userNameLabel(), 0, label.width());
        const int entryLine = entry.top() + lowestInk(view->userNameEdit(), 6, entry.width() - 10);
        QVERIFY(labelLine > label.top());
        QVERIFY2(qAbs(labelLine - entryLine) <= 1,
                 qPrintable(u"label %1, entry %2"_s.arg(labelLine).arg(entryLine)));
    }

    void aLabelWithoutRoomEndsInDotsAndTellsItsTextInTheToolTip()
    {
        const auto view = make(std::nullopt, longText + longText);
        const auto *label = view->passwordLabel();
        QVERIFY(label->shownText().endsWith(u'…'));
        QVERIFY(label->shownText().startsWith(u"WWWW"_s));
        QCOMPARE(label->toolTip(), longText + longText);
        const auto fitting = make(std::nullopt, shortText);
        QCOMPARE(fitting->passwordLabel()->shownText(), shortText);
        QVERIFY(fitting->passwordLabel()->toolTip().isEmpty());
    }

    void everyLabelIsItsEntrysBuddyAndAccessibleName()
    {
        const auto view = make(u"R&D name:"_s, u"P&&W:"_s);
        QCOMPARE(view->userNameLabel()->buddy(), view->userNameEdit());
        QCOMPARE(view->passwordLabel()->buddy(), view->passwordEdit());
        QAccessible::setActive(true);
        const auto name = [](QWidget *widget) {
            return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
        };
        QCOMPARE(name(view->userNameEdit()), u"R&D name:"_s);
        QCOMPARE(name(view->passwordEdit()), u"P&&W:"_s);
        const auto labels = QAccessible::queryAccessibleInterface(view->passwordEdit())
                                ->relations(QAccessible::Label);
        QCOMPARE(labels.size(), 1);
        QCOMPARE(labels.first().first->object(), view->passwordLabel());
        QVERIFY(QAccessible::queryAccessibleInterface(view->passwordEdit())->state().passwordEdit);
        QAccessible::setActive(false);
    }

    void theWholeLabelIsShownAtEveryFontSize()
    {
        for (const int points : {9, 18, 27}) {
            QFont font = QApplication::font();
            font.setPointSize(points);
            QApplication::setFont(font);
            const auto view = make(u"Username:"_s, u"Password:"_s);
            QCOMPARE(view->userNameLabel()->shownText(), u"Username:"_s);
            QVERIFY(view->userNameEdit()->height() >= view->userNameEdit()->sizeHint().height());
            QVERIFY(view->userNameLabel()->height() >= view->userNameLabel()->sizeHint().height());
        }
    }

    void aChangedFontIsFollowed()
    {
        const auto view = make(u"Username:"_s, u"Password:"_s);
        const QSize before = view->sizeHint();
        QFont font = QApplication::font();
        font.setPointSize(3 * font.pointSize());
        view->setFont(font);
        QVERIFY(view->sizeHint().height() > before.height());
        view->resize(view->sizeHint());
        QCOMPARE(view->userNameLabel()->shownText(), u"Username:"_s);
        QCOMPARE(view->passwordEdit()->y() + view->passwordEdit()->height(), view->height());
    }

    void theKeyboardGoesFromTheNameToThePassword()
    {
        const auto view = make(u"Username:"_s, u"Password:"_s);
        QWidget *next = view->userNameEdit();
        do {
            next = next->nextInFocusChain();
        } while ((next->focusPolicy() & Qt::TabFocus) == 0);
        QCOMPARE(next, view->passwordEdit());
    }
};

QTEST_MAIN(tst_SSCredentialsView)
#include "tst_SSCredentialsView.moc"
