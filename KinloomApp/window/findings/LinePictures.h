// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QHash>
#include <QPixmap>
#include <QSet>
#include <QString>

#include <functional>

class QPainter;

namespace kinloom {

/// Lines of text that repeat from row to row of a long list (the titles of findings, the titles
/// of common fixes), kept as pictures drawn on the list's plain background: copying an opaque
/// picture costs far less than blending its glyphs again. A line seen once is cheaper drawn as
/// text, so a picture is only made the second time a line is asked for.
class LinePictures
{
public:
    /// How the lines are drawn. Changing any of it draws every line anew.
    struct Style
    {
        QFont font;
        QColor colour;
        QColor background;
        int width = 0;     ///< the room a line has
        qreal ratio = 1;   ///< device pixels per pixel
        QSize dpi{96, 96}; ///< the device's logical resolution, which sizes a font given in points

        bool operator==(const Style&) const = default;
    };
    /// Draws a line with its baseline at the given point, in the style's font and colour, and
    /// returns how far it reaches: the caller's own way of drawing it, so a picture and a line
    /// drawn directly look the same.
    using Draw = std::function<int(QPainter&, QPoint baseline)>;

    /// The picture of `text` in `style`, one line high (the font's height), from its left edge to
    /// where `draw` reached. None the first time a line is asked for, or once as many pictures as
    /// are kept have been made.
    const QPixmap* picture(const Style& style, const QString& text, const Draw& draw);

private:
    Style m_style;
    QHash<QString, QPixmap> m_pictures;
    QSet<QString> m_seen;
};

} // namespace kinloom
