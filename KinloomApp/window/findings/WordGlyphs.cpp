// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/findings/WordGlyphs.h"

#include <QGlyphRun>
#include <QPainter>
#include <QTextLayout>

namespace kinloom {

namespace {

/// Words kept at most: a list of unusual details must not hold every word it ever showed.
constexpr qsizetype maxWords = 16384;

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

} // namespace

bool WordGlyphs::drawsWordByWord(const QString& text)
{
    for (const QChar c : text) {
        // Control characters, characters beyond the basic plane and right-to-left text need the
        // whole line laid out at once.
        if (c.unicode() < 0x20 || c.isSurrogate())
            return false;
        switch (c.direction()) {
        case QChar::DirR:
        case QChar::DirAL:
        case QChar::DirRLE:
        case QChar::DirRLO:
        case QChar::DirRLI:
        case QChar::DirLRE:
        case QChar::DirLRO:
        case QChar::DirLRI:
        case QChar::DirFSI:
        case QChar::DirPDF:
        case QChar::DirPDI:
            return false;
        default:
            break;
        }
    }
    return true;
}

WordGlyphs::Word WordGlyphs::shape(const QString& text) const
{
    QTextLayout layout(text, *m_font);
    layout.setCacheEnabled(false);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    layout.endLayout();
    Word word;
    word.advance = line.horizontalAdvance();
    const qreal baseline = line.y() + line.ascent();
    for (const QGlyphRun& run : layout.glyphRuns()) {
        Piece piece{run.rawFont(), run.glyphIndexes(), run.positions()};
        for (QPointF& position : piece.positions)
            position.ry() -= baseline;
        word.pieces.push_back(std::move(piece));
    }
    return word;
}

const WordGlyphs::Word& WordGlyphs::word(const QString& text, qsizetype start, qsizetype length)
{
    // A view into the line: looking a word up copies nothing.
    const QString key = QString::fromRawData(text.constData() + start, length);
    if (auto found = m_words.find(key); found != m_words.end())
        return found->second;
    const QString owned(key.constData(), key.size());
    return m_words.emplace(owned, shape(owned)).first->second;
}

void WordGlyphs::add(const Word& word, qreal x)
{
    for (const Piece& piece : word.pieces) {
        auto batch = std::find_if(m_batches.begin(), m_batches.end(),
                                  [&](const Batch& b) { return b.font == piece.font; });
        if (batch == m_batches.end())
            batch = m_batches.insert(m_batches.end(), Batch{piece.font, {}, {}});
        batch->glyphs.append(piece.glyphs);
        for (const QPointF& position : piece.positions)
            batch->positions.append(position + QPointF(x, 0));
    }
}

std::optional<qreal> WordGlyphs::draw(QPainter& painter, QPointF baseline, qreal width, const QString& text)
{
    if (painter.layoutDirection() == Qt::RightToLeft || !drawsWordByWord(text))
        return std::nullopt;
    // A font given in points takes its size from the device's resolution, which its equality
    // leaves out.
    const int dpi = painter.device()->logicalDpiY();
    if (!m_font || painter.font() != *m_font || dpi != m_dpi) {
        m_font = painter.font();
        m_dpi = dpi;
        m_words.clear();
        m_space = shape(QStringLiteral(" ")).advance;
        m_ellipsis = shape(QStringLiteral("…"));
        for (int digit = 0; digit < 10; ++digit)
            m_digits[std::size_t(digit)] = shape(QString(QChar('0' + digit)));
    }
    // Words are only dropped between lines, so the words of this one stay put.
    if (m_words.size() >= maxWords)
        m_words.clear();

    // Place words until the line is done or has run out of room. Each digit is a word of its
    // own: numbers and record numbers differ from line to line, but are made of ten glyphs.
    m_line.clear();
    qreal x = 0;
    bool fits = true;
    for (qsizetype start = 0; start < text.size() && fits;) {
        const QChar first = text[start];
        if (first == QLatin1Char(' ')) {
            x += m_space;
            ++start;
            continue;
        }
        qsizetype end = start + 1;
        if (!isDigit(first)) {
            while (end < text.size() && text[end] != QLatin1Char(' ') && !isDigit(text[end]))
                ++end;
        }
        const Word& shaped =
            isDigit(first) ? m_digits[first.unicode() - '0'] : word(text, start, end - start);
        m_line.push_back({&shaped, x});
        x += shaped.advance;
        fits = x <= width;
        start = end;
    }
    // Too long: keep the words that leave room for an ellipsis after them.
    if (!fits) {
        while (!m_line.empty() && m_line.back().x + m_line.back().word->advance + m_ellipsis.advance > width)
            m_line.pop_back();
        if (m_line.empty())
            return std::nullopt;
    }

    for (Batch& batch : m_batches) {
        batch.glyphs.clear();
        batch.positions.clear();
    }
    for (const Placed& placed : m_line)
        add(*placed.word, placed.x);
    if (!fits) {
        x = m_line.back().x + m_line.back().word->advance;
        add(m_ellipsis, x);
        x += m_ellipsis.advance;
    }
    for (const Batch& batch : m_batches) {
        if (batch.glyphs.isEmpty())
            continue;
        QGlyphRun run;
        run.setRawFont(batch.font);
        run.setRawData(batch.glyphs.constData(), batch.positions.constData(), int(batch.glyphs.size()));
        painter.drawGlyphRun(baseline, run);
    }
    // Fonts seen once in a fallback stay out of the next line's batches.
    if (m_batches.size() > 4)
        m_batches.clear();
    return x;
}

} // namespace kinloom
