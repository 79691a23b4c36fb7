#include "KinloomPdf/PdfRenderer.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTextLayout>

#include <array>

namespace kinloom::PdfRenderer {
namespace {

// The page and its text frame, in points.
constexpr qreal pageWidth = 612;
constexpr qreal pageHeight = 792;
constexpr qreal frameLeft = 54;
constexpr qreal frameTop = 60;
constexpr qreal frameWidth = pageWidth - 2 * frameLeft;
constexpr qreal frameHeight = pageHeight - 2 * frameTop;
constexpr qreal footerBaseline = pageHeight - 34;

// Baseline to baseline, in font sizes: Helvetica's usual single spacing. The ascent and descent of
// Nimbus Sans, which stands in for it, would space lines a fifth wider (room for accented capitals).
constexpr qreal lineSpacing = 1.2;

// Fine enough that glyph advances and line heights do not round to whole points.
constexpr int resolution = 1200;
constexpr qreal unitsPerPoint = resolution / 72.0;

QFont makeFont(const QString& family, QFont::StyleHint hint, qreal points, bool bold)
{
    QFont font(family);
    // The hint picks the generic family when the named one is not installed.
    font.setStyleHint(hint);
    font.setPointSizeF(points);
    font.setBold(bold);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

} // namespace

TextRole lineRole(QStringView line)
{
    if (line.startsWith(u"# "))
        return TextRole::title;
    if (line.startsWith(u"## "))
        return TextRole::section;
    if (line.startsWith(u"### "))
        return TextRole::heading;
    if (line.startsWith(u"["))
        return TextRole::bracketed;
    if (line.startsWith(u"      ") || line.startsWith(u"    + ") ||
        (line.startsWith(u"    ") && line.contains(u" \u2192 ")))
        return TextRole::detail;
    return TextRole::body;
}

TextStyle textStyle(TextRole role)
{
    // Helvetica's metrics come from its metric-compatible clone where fontconfig offers one; a bare
    // monospaced name such as Menlo would resolve to a proportional font here.
    const QString sans = QStringLiteral("Helvetica");
    const QString mono = QStringLiteral("DejaVu Sans Mono");
    const QColor ink = QColor::fromRgbF(0.08f, 0.08f, 0.08f);
    const QColor grey = QColor::fromRgbF(0.35f, 0.35f, 0.35f);
    switch (role) {
    case TextRole::title:
        return {makeFont(sans, QFont::SansSerif, 17, true), ink, 0, 2};
    case TextRole::section:
        return {makeFont(sans, QFont::SansSerif, 12.5, true), ink, 6, 3};
    case TextRole::heading:
        return {makeFont(sans, QFont::SansSerif, 10.5, true), ink, 3, 4};
    case TextRole::bracketed:
        return {makeFont(sans, QFont::SansSerif, 9.5, true), ink, 0, 0};
    case TextRole::body:
        return {makeFont(sans, QFont::SansSerif, 9.5, false), ink, 0, 0};
    case TextRole::detail:
        return {makeFont(mono, QFont::Monospace, 8.5, false), grey, 0, 0};
    case TextRole::footer:
        return {makeFont(sans, QFont::SansSerif, 8, false), grey, 0, 0};
    }
    return {};
}

std::string render(std::string_view text, std::string_view title)
{
    QStringList lines = QString::fromUtf8(text.data(), qsizetype(text.size())).split(u'\n');
    // The final line feed ends the last line; it does not begin an empty one.
    if (lines.last().isEmpty())
        lines.removeLast();
    const QString footerTitle = QString::fromUtf8(title.data(), qsizetype(title.size()));

    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    writer.setResolution(resolution);
    writer.setPageLayout(
        QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait, QMarginsF(), QPageLayout::Point));
    writer.setTitle(footerTitle);
    writer.setCreator(QStringLiteral("Kinloom"));

    // Seven fonts for the whole document: building a font per line costs more than laying it out.
    constexpr std::size_t roleCount = std::size_t(TextRole::footer) + 1;
    std::array<TextStyle, roleCount> styles;
    for (std::size_t role = 0; role < roleCount; ++role)
        styles[role] = textStyle(TextRole(role));

    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setUseDesignMetrics(true);

    QPainter painter(&writer);
    int page = 1;
    qreal y = 0; // from the top of the text frame, in device units
    const TextStyle& footer = styles[std::size_t(TextRole::footer)];
    const QFontMetricsF footerMetrics(footer.font, &writer);
    const auto finishPage = [&] {
        // A title too long for one line loses its middle, never the page number.
        const QString number = QStringLiteral(" \u00B7 page ") + QString::number(page);
        const QString shownTitle =
            footerMetrics.elidedText(footerTitle, Qt::ElideMiddle,
                                     frameWidth * unitsPerPoint - footerMetrics.horizontalAdvance(number));
        painter.setFont(footer.font);
        painter.setPen(footer.colour);
        painter.drawText(QPointF(frameLeft, footerBaseline) * unitsPerPoint, shownTitle + number);
    };
    for (const QString& line : lines) {
        const TextStyle& style = styles[std::size_t(lineRole(line))];
        const QString shown = line.mid(style.markerLength);
        qsizetype blanks = 0;
        while (blanks < shown.size() && shown[blanks] == u' ')
            ++blanks;
        QTextLayout layout(shown, style.font, &writer);
        layout.setTextOption(option);
        layout.beginLayout();
        // A wrapped line continues under its own text, not under its leading blanks.
        qreal indent = 0;
        for (QTextLine textLine = layout.createLine(); textLine.isValid(); textLine = layout.createLine()) {
            textLine.setLineWidth(frameWidth * unitsPerPoint - indent);
            textLine.setPosition(QPointF(indent, 0));
            if (textLine.lineNumber() == 0 && blanks < shown.size())
                indent = textLine.cursorToX(int(blanks));
        }
        layout.endLayout();

        if (y > 0)
            y += style.spaceBefore * unitsPerPoint;
        const qreal lineHeight = style.font.pointSizeF() * lineSpacing * unitsPerPoint;
        painter.setPen(style.colour);
        for (int i = 0; i < layout.lineCount(); ++i) {
            const QTextLine textLine = layout.lineAt(i);
            // A line that does not fit whole goes to the next page; a page takes at least one line.
            if (y > 0 && y + lineHeight > frameHeight * unitsPerPoint) {
                // A blank line that does not fit ends the page instead of opening the next one.
                if (blanks == shown.size()) {
                    y = frameHeight * unitsPerPoint;
                    break;
                }
                finishPage();
                writer.newPage();
                painter.setPen(style.colour);
                ++page;
                y = 0;
            }
            // The glyphs' own height is centred in the line's height.
            const qreal baseline = y + (lineHeight + textLine.ascent() - textLine.descent()) / 2;
            textLine.draw(&painter, QPointF(frameLeft, frameTop) * unitsPerPoint +
                                        QPointF(0, baseline - textLine.ascent() - textLine.y()));
            y += lineHeight;
        }
    }
    finishPage();
    painter.end();
    return buffer.data().toStdString();
}

void ensureGuiApplication()
{
    if (QCoreApplication::instance())
        return;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The application keeps references to its arguments for its whole life.
    static int argc = 1;
    static char name[] = "kinloom";
    static char* argv[] = {name, nullptr};
    // Starting without a desktop session warns about it (no runtime folder and the like), which is
    // no news to someone running a command-line tool.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
    static QGuiApplication application(argc, argv);
    QLoggingCategory::setFilterRules({});
}

} // namespace kinloom::PdfRenderer
