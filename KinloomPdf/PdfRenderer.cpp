// SPDX-License-Identifier: GPL-3.0-or-later
#include "KinloomPdf/PdfRenderer.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QTextLayout>

#include <array>
#include <memory>
#include <vector>

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

/// One line of the text, laid out in its style.
struct Paragraph
{
    const TextStyle* style = nullptr;
    QString shown; ///< without its marker
    bool blank = false;
    int lineCount = 0;
    int page = 0; ///< the page its first line is drawn on, once the text is flowed
};

/// Lays out a paragraph and notes its number of lines. A layout is kept only while its lines are
/// drawn: a long report's layouts all kept at once would more than double the memory it takes.
std::unique_ptr<QTextLayout> layOut(Paragraph& paragraph, const QTextOption& option, QPaintDevice* device)
{
    qsizetype blanks = 0;
    while (blanks < paragraph.shown.size() && paragraph.shown[blanks] == u' ')
        ++blanks;
    paragraph.blank = blanks == paragraph.shown.size();
    auto made = std::make_unique<QTextLayout>(paragraph.shown, paragraph.style->font, device);
    QTextLayout& layout = *made;
    layout.setTextOption(option);
    layout.beginLayout();
    // A wrapped line continues under its own text, not under its leading blanks.
    qreal indent = 0;
    for (QTextLine textLine = layout.createLine(); textLine.isValid(); textLine = layout.createLine()) {
        textLine.setLineWidth(frameWidth * unitsPerPoint - indent);
        textLine.setPosition(QPointF(indent, 0));
        if (textLine.lineNumber() == 0 && !paragraph.blank)
            indent = textLine.cursorToX(int(blanks));
    }
    layout.endLayout();
    paragraph.lineCount = layout.lineCount();
    return made;
}

/// Flows the paragraphs over the pages, notes the page each begins on and returns the number of
/// pages. `draw` gets every line, by its paragraph and number, with the top of its line box in the text
/// frame, in device units; `newPage` gets the number of each page that ends before another begins.
template <typename Draw, typename NewPage>
int flow(std::vector<Paragraph>& paragraphs, const Draw& draw, const NewPage& newPage)
{
    int page = 1;
    qreal y = 0; // from the top of the text frame, in device units
    for (Paragraph& paragraph : paragraphs) {
        const TextStyle& style = *paragraph.style;
        if (y > 0)
            y += style.spaceBefore * unitsPerPoint;
        const qreal lineHeight = style.font.pointSizeF() * lineSpacing * unitsPerPoint;
        paragraph.page = page;
        for (int i = 0; i < paragraph.lineCount; ++i) {
            // A line that does not fit whole goes to the next page; a page takes at least one line.
            if (y > 0 && y + lineHeight > frameHeight * unitsPerPoint) {
                // A blank line that does not fit ends the page instead of opening the next one.
                if (paragraph.blank) {
                    y = frameHeight * unitsPerPoint;
                    break;
                }
                newPage(page);
                ++page;
                y = 0;
            }
            if (i == 0)
                paragraph.page = page;
            draw(paragraph, i, y, lineHeight);
            y += lineHeight;
        }
    }
    return page;
}

/// The lines of contents: body lines of the first section that begin with the title of a later
/// section and ": ", each with the index of that section's heading. The report's summary is such a
/// section, so that its PDF can give the page each category starts on.
std::vector<std::pair<std::size_t, std::size_t>>
contentsLines(const std::vector<Paragraph>& paragraphs, const TextStyle* section, const TextStyle* body)
{
    std::vector<std::size_t> sections;
    for (std::size_t i = 0; i < paragraphs.size(); ++i) {
        if (paragraphs[i].style == section)
            sections.push_back(i);
    }
    std::vector<std::pair<std::size_t, std::size_t>> lines;
    if (sections.size() < 2)
        return lines;
    // A heading's title leaves out its count of findings: "Impossible dates (2076)".
    static const QRegularExpression count(QStringLiteral(" \\([0-9]+\\)$"));
    QStringList prefixes;
    for (std::size_t i = 1; i < sections.size(); ++i)
        prefixes.append(QString(paragraphs[sections[i]].shown).remove(count) + QStringLiteral(": "));
    for (std::size_t line = sections[0] + 1; line < sections[1]; ++line) {
        if (paragraphs[line].style != body)
            continue;
        for (qsizetype i = 0; i < prefixes.size(); ++i) {
            if (paragraphs[line].shown.startsWith(prefixes[i])) {
                lines.emplace_back(line, sections[std::size_t(i) + 1]);
                break;
            }
        }
    }
    return lines;
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
    std::vector<Paragraph> paragraphs(std::size_t(lines.size()));
    for (std::size_t i = 0; i < paragraphs.size(); ++i) {
        const QString& line = lines[qsizetype(i)];
        paragraphs[i].style = &styles[std::size_t(lineRole(line))];
        paragraphs[i].shown = line.mid(paragraphs[i].style->markerLength);
        (void)layOut(paragraphs[i], option, &writer);
    }

    // A line of contents ends with the page of its section, which is known only once the text is
    // flowed; a page number long enough to wrap its line can move the sections, so the text is
    // flowed again until the numbers hold.
    const auto contents = contentsLines(paragraphs, &styles[std::size_t(TextRole::section)],
                                        &styles[std::size_t(TextRole::body)]);
    std::vector<QString> contentsTexts;
    for (const auto& [line, section] : contents)
        contentsTexts.push_back(paragraphs[line].shown);
    const auto noDrawing = [](const Paragraph&, int, qreal, qreal) {};
    for (bool changed = !contents.empty(); changed;) {
        flow(paragraphs, noDrawing, [](int) {});
        changed = false;
        for (std::size_t i = 0; i < contents.size(); ++i) {
            Paragraph& paragraph = paragraphs[contents[i].first];
            const QString shown = contentsTexts[i] + QStringLiteral(" \u00B7 page ") +
                                  QString::number(paragraphs[contents[i].second].page);
            if (shown != paragraph.shown) {
                paragraph.shown = shown;
                (void)layOut(paragraph, option, &writer);
                changed = true;
            }
        }
    }

    QPainter painter(&writer);
    const TextStyle& footer = styles[std::size_t(TextRole::footer)];
    const QFontMetricsF footerMetrics(footer.font, &writer);
    const Paragraph* laidOut = nullptr;
    std::unique_ptr<QTextLayout> layout;
    const auto draw = [&](Paragraph& paragraph, int line, qreal y, qreal lineHeight) {
        if (laidOut != &paragraph) {
            layout = layOut(paragraph, option, &writer);
            laidOut = &paragraph;
        }
        const QTextLine textLine = layout->lineAt(line);
        painter.setPen(paragraph.style->colour);
        // The glyphs' own height is centred in the line's height.
        const qreal baseline = y + (lineHeight + textLine.ascent() - textLine.descent()) / 2;
        textLine.draw(&painter, QPointF(frameLeft, frameTop) * unitsPerPoint +
                                    QPointF(0, baseline - textLine.ascent() - textLine.y()));
    };
    const auto drawFooter = [&](int page) {
        // A title too long for one line loses its middle, never the page number.
        const QString number = QStringLiteral(" \u00B7 page ") + QString::number(page);
        const QString shownTitle =
            footerMetrics.elidedText(footerTitle, Qt::ElideMiddle,
                                     frameWidth * unitsPerPoint - footerMetrics.horizontalAdvance(number));
        painter.setFont(footer.font);
        painter.setPen(footer.colour);
        painter.drawText(QPointF(frameLeft, footerBaseline) * unitsPerPoint, shownTitle + number);
    };
    drawFooter(flow(paragraphs, draw, [&](int page) {
        drawFooter(page);
        writer.newPage();
    }));
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
