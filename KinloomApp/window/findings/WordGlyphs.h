// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFont>
#include <QHashFunctions>
#include <QList>
#include <QPointF>
#include <QRawFont>
#include <QString>

#include <array>
#include <optional>
#include <unordered_map>
#include <vector>

class QPainter;

namespace kinloom {

/// Draws single lines of text whose words repeat from line to line, such as the details of a long
/// list of findings: each word is shaped once and its glyphs kept, so a line costs a few lookups
/// instead of laying out the whole text again. Spaces and digits separate words: nothing across
/// them is worth shaping together.
class WordGlyphs
{
public:
    /// Draws `text` in the painter's font and pen with its baseline starting at `baseline`, cut
    /// after its last whole word that fits in `width` with an ellipsis, and returns how far it
    /// reaches. Returns none, having drawn nothing, when the text must be laid out whole: it reads
    /// right to left, holds a control character, or its first word alone is too wide.
    std::optional<qreal> draw(QPainter& painter, QPointF baseline, qreal width, const QString& text);

private:
    struct Piece
    {
        QRawFont font;
        QList<quint32> glyphs;
        QList<QPointF> positions; ///< from the word's start, on its baseline
    };
    struct Word
    {
        std::vector<Piece> pieces; ///< one per font, when a character comes from a fallback font
        qreal advance = 0;
    };
    /// Glyphs of one font gathered across a line's words, drawn in one call.
    struct Batch
    {
        QRawFont font;
        QList<quint32> glyphs;
        QList<QPointF> positions;
    };

    struct Placed
    {
        const Word* word;
        qreal x;
    };
    struct Hash
    {
        std::size_t operator()(const QString& text) const noexcept { return qHash(text); }
    };

    [[nodiscard]] static bool drawsWordByWord(const QString& text);
    const Word& word(const QString& text, qsizetype start, qsizetype length);
    [[nodiscard]] Word shape(const QString& text) const;
    void add(const Word& word, qreal x);

    std::optional<QFont> m_font; ///< the font of the kept words, none before the first line
    int m_dpi = 0;
    qreal m_space = 0;
    Word m_ellipsis;
    std::array<Word, 10> m_digits;
    // Node-based, so a word found stays where it is while later words of the line are added.
    std::unordered_map<QString, Word, Hash> m_words;
    std::vector<Placed> m_line;
    std::vector<Batch> m_batches;
};

} // namespace kinloom
