// The list's quick ways of drawing text must look like laying the text out whole: the same pixels,
// or the same words with the same ellipsis when a line is cut.
#include "LinePictures.h"
#include "WordGlyphs.h"

#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTest>

using namespace kinloom;

namespace {

constexpr QSize canvas(420, 24);

/// The application's own font, as the list uses it.
QFont listFont()
{
    return QGuiApplication::font();
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

} // namespace

class FastTextTest : public QObject
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

    void picturesLookLikeTheirText()
    {
        LinePictures pictures;
        QFont bold = listFont();
        bold.setBold(true);
        const LinePictures::Style style{bold, Qt::black, Qt::white, 400, 1};
        for (const QString& title : {QStringLiteral("Date not in the standard form"),
                                     QStringLiteral("Possibly the same person: Wójcik")}) {
            QImage fromPicture = blank();
            QPainter(&fromPicture).drawPixmap(QPoint(2, 0), pictures.picture(style, title));
            QImage drawn = blank();
            QPainter painter(&drawn);
            painter.setFont(bold);
            painter.setPen(Qt::black);
            painter.drawText(QPoint(2, QFontMetrics(bold).ascent()), title);
            painter.end();
            QCOMPARE(fromPicture, drawn);
        }
        // A narrower room draws the title again, cut.
        const QPixmap& cut = pictures.picture({bold, Qt::black, Qt::white, 60, 1},
                                              QStringLiteral("Date not in the standard form"));
        QVERIFY(cut.width() <= 60);
    }
};

QTEST_MAIN(FastTextTest)
#include "FastTextTest.moc"
