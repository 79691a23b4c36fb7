// SPDX-License-Identifier: GPL-3.0-or-later
// A finding's row, and the quick ways it draws its text: they must look like laying the text out
// whole, the same pixels or the same words with the same ellipsis when a line is cut.
#include "window/findings/IssueRow.h"
#include "window/findings/IssueListModel.h"
#include "window/findings/LinePictures.h"
#include "window/findings/WordGlyphs.h"

#include <QApplication>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QStandardItemModel>
#include <QTest>
#include <QTreeView>

using namespace kinloom;

namespace {

constexpr QSize canvas(420, 24);

/// The application's own font, as the list uses it.
QFont listFont()
{
    return QApplication::font();
}

QImage blank()
{
    QImage image(canvas, QImage::Format_RGB32);
    image.fill(Qt::white);
    return image;
}

/// The text as Qt lays it out whole, cut as Qt cuts it when `elided`.
QImage wholeLine(const QString& text, const QFont& font = listFont())
{
    QImage image = blank();
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::darkGray);
    painter.drawText(QPoint(2, 17), text);
    return image;
}

/// The text drawn word by word, or a null image when the words refuse it.
QImage wordByWord(WordGlyphs& words, const QString& text, qreal width = canvas.width(),
                  const QFont& font = listFont())
{
    QImage image = blank();
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::darkGray);
    return words.draw(painter, QPointF(2, 17), width, text) ? image : QImage();
}

/// An image of a screen with `dpi` dots per inch.
QImage imageAt(int dpi, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.setDotsPerMeterX(qRound(dpi / 0.0254));
    image.setDotsPerMeterY(qRound(dpi / 0.0254));
    return image;
}

} // namespace

class IssueRowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wordsLookLikeTheWholeLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("date finding") << QStringLiteral("@I1234@ INDI · BIRT DATE: “abt 1701”");
        QTest::newRow("kerned capitals") << QStringLiteral("AVAT Tower, WAVY Valley");
        QTest::newRow("accents") << QStringLiteral("Stanisław Wójcik · Łódź, Kraków");
        QTest::newRow("combining accent") << QStringLiteral("Jose\u0301 Garci\u0301a 1890");
        QTest::newRow("cyrillic and greek") << QStringLiteral("Иванов Пётр · Παπαδόπουλος 1850");
        QTest::newRow("several spaces") << QStringLiteral("two  spaces,   three and trailing ");
        QTest::newRow("fallback font") << QStringLiteral("王小明 Wang · 1890");
        QTest::newRow("digits inside words") << QStringLiteral("F12a 3rd 1st-2nd 10x10");
    }

    void wordsLookLikeTheWholeLine()
    {
        QFETCH(QString, text);
        WordGlyphs words;
        const QImage drawn = wordByWord(words, text);
        QVERIFY(!drawn.isNull());
        QCOMPARE(drawn, wholeLine(text));
        // Again from the kept glyphs.
        QCOMPARE(wordByWord(words, text), drawn);
        // In another font, the words are shaped anew.
        QFont larger = listFont();
        larger.setPixelSize(15);
        QCOMPARE(wordByWord(words, text, canvas.width(), larger), wholeLine(text, larger));
    }

    void aLongLineEndsAfterAWholeWord()
    {
        WordGlyphs words;
        const QString text = QStringLiteral("born abt 1701, at least 322 years ago, and no death or burial");
        const QFontMetricsF metrics(listFont());
        const qreal width = metrics.horizontalAdvance(QStringLiteral("born abt 1701, at least 322 ye"));
        QCOMPARE(wordByWord(words, text, width), wholeLine(QStringLiteral("born abt 1701, at least 322…")));
    }

    void refusesWhatMustBeLaidOutWhole()
    {
        WordGlyphs words;
        // Right to left, a control character, and a first word wider than the room.
        QVERIFY(wordByWord(words, QStringLiteral("David דוד 1890")).isNull());
        QVERIFY(wordByWord(words, QStringLiteral("one\ttwo")).isNull());
        QVERIFY(wordByWord(words, QStringLiteral("Wolfeschlegelsteinhausen"), 40).isNull());
        // Nothing was drawn, and the next line is not upset.
        QCOMPARE(wordByWord(words, QStringLiteral("Smith 1890")), wholeLine(QStringLiteral("Smith 1890")));
    }

    void plainRowLooksLikeTheUsualOne_data()
    {
        QTest::addColumn<int>("dpi");
        QTest::newRow("96 dpi") << 96;
        QTest::newRow("120 dpi") << 120;
    }

    /// A row drawn quickly on the list's plain background looks like the same row drawn the usual
    /// way (under the mouse, where the style adds nothing), with its title in bold, on a screen of
    /// any resolution.
    void plainRowLooksLikeTheUsualOne()
    {
        QFETCH(int, dpi);
        const QString title = QStringLiteral("Date not in the standard form");
        QStandardItemModel model;
        auto* item = new QStandardItem(title);
        item->setData(QStringLiteral("@I12@ INDI · BIRT DATE: “abt 1839”"), IssueListModel::DetailRole);
        item->setData(QStringLiteral("Write as “ABT 1839”"), IssueListModel::FixTitleRole);
        item->setData(int(Severity::warning), IssueListModel::SeverityRole);
        item->setCheckable(true);
        item->setCheckState(Qt::Checked);
        model.appendRow(item);
        QTreeView view;
        view.setModel(&model);
        IssueRow row;

        QStyleOptionViewItem option;
        option.initFrom(&view);
        option.widget = &view;
        option.font = view.font();
        // The list lays its rows out with its screen's metrics.
        const QImage screen = imageAt(dpi, {1, 1});
        option.fontMetrics = QFontMetrics(option.font, &screen);
        option.rect = QRect(QPoint(0, 0), row.sizeHint(option, model.index(0, 0)).expandedTo({500, 0}));
        option.state &= ~QStyle::State_MouseOver;
        const auto drawn = [&](const QStyleOptionViewItem& rowOption) {
            QImage image = imageAt(dpi, option.rect.size());
            image.fill(option.palette.color(QPalette::Base));
            QPainter painter(&image);
            row.paint(&painter, rowOption, model.index(0, 0));
            return image;
        };
        QStyleOptionViewItem hovered = option;
        hovered.state |= QStyle::State_MouseOver;
        const QImage usual = drawn(hovered);
        // Drawn as text the first time, from kept pictures after.
        const QImage plain = drawn(option);
        QCOMPARE(plain, usual);
        QCOMPARE(drawn(option), usual);
        QCOMPARE(drawn(option), usual);
        if (dpi != 96)
            return;

        // The title's ink ends where a bold title would, well past where a regular one would.
        QFont bold = option.font;
        bold.setBold(true);
        const int line = option.fontMetrics.height();
        int inkRight = 0;
        for (int y = 6; y < 6 + line; ++y) {
            for (int x = 0; x < plain.width(); ++x) {
                if (qGray(plain.pixel(x, y)) < 128)
                    inkRight = std::max(inkRight, x);
            }
        }
        const int textLeft = 6 + 16 + 6;
        QVERIFY(std::abs(inkRight - (textLeft + QFontMetrics(bold).horizontalAdvance(title))) <= 2);
        QVERIFY(inkRight > textLeft + option.fontMetrics.horizontalAdvance(title) + 4);
    }

    void toolTipAddsWhatTheRowCutsOrLeavesUnsaid_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("toCheck");
        QTest::addColumn<QString>("tip"); ///< how it starts; empty for none
        QTest::newRow("whole row") << 900 << false << QString();
        QTest::newRow("narrow row") << 120 << false
                                    << QStringLiteral(
                                           "<p><b>Date not in the standard form</b></p><p>@I12@ INDI · "
                                           "BIRT DATE: “abt 1839”</p><p>Fix: Write as “ABT 1839”</p>");
        QTest::newRow("fix to check") << 900 << true << QStringLiteral("<p>Check before applying: ");
    }

    void toolTipAddsWhatTheRowCutsOrLeavesUnsaid()
    {
        QFETCH(int, width);
        QFETCH(bool, toCheck);
        QFETCH(QString, tip);
        QStandardItemModel model;
        auto* item = new QStandardItem(QStringLiteral("Date not in the standard form"));
        item->setData(QStringLiteral("@I12@ INDI · BIRT DATE: “abt 1839”"), IssueListModel::DetailRole);
        item->setData(QStringLiteral("Write as “ABT 1839”"), IssueListModel::FixTitleRole);
        item->setData(toCheck, IssueListModel::FixNeedsReviewRole);
        item->setData(int(IssueListModel::RowType::finding), IssueListModel::RowTypeRole);
        model.appendRow(item);
        QStyleOptionViewItem option;
        option.font = listFont();
        option.fontMetrics = QFontMetrics(option.font);
        option.rect = QRect(0, 0, width, 60);
        const QString shown = IssueRow::toolTip(option, model.index(0, 0));
        QVERIFY2(shown.startsWith(tip) && shown.isEmpty() == tip.isEmpty(), qPrintable(shown));
    }

    void aPictureIsMadeTheSecondTimeALineIsSeen()
    {
        LinePictures pictures;
        QFont bold = listFont();
        bold.setBold(true);
        const QFontMetrics metrics(bold);
        const LinePictures::Style style{bold, Qt::black, Qt::white, 400, 1};
        const LinePictures::Draw draw = [&](QPainter& painter, QPoint baseline) {
            painter.drawText(baseline, QStringLiteral("Date not in the standard form"));
            return metrics.horizontalAdvance(QStringLiteral("Date not in the standard form"));
        };
        const QString title = QStringLiteral("Date not in the standard form");
        QVERIFY(!pictures.picture(style, title, draw));
        const QPixmap* picture = pictures.picture(style, title, draw);
        QVERIFY(picture);
        QVERIFY(picture->width() < 400);
        QCOMPARE(pictures.picture(style, title, draw), picture);

        QImage fromPicture = blank();
        QPainter(&fromPicture).drawPixmap(QPoint(2, 0), *picture);
        QImage drawn = blank();
        QPainter painter(&drawn);
        painter.setFont(bold);
        painter.setPen(Qt::black);
        draw(painter, QPoint(2, metrics.ascent()));
        painter.end();
        QCOMPARE(fromPicture, drawn);

        // Another style starts afresh.
        QVERIFY(!pictures.picture({bold, Qt::black, Qt::white, 300, 1}, title, draw));
    }
};

QTEST_MAIN(IssueRowTest)
#include "IssueRowTest.moc"
