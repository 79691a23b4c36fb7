#pragma once

#include <QColor>
#include <QFont>
#include <QHash>
#include <QPixmap>
#include <QString>

namespace kinloom {

/// Lines of text that repeat from row to row of a long list (the titles of findings and of their
/// fixes), each drawn once on the list's plain background and kept as a picture: copying an opaque
/// picture costs far less than blending its glyphs again.
class LinePictures
{
public:
    /// How the lines are drawn. Changing any of it draws every line anew.
    struct Style
    {
        QFont font;
        QColor colour;
        QColor background;
        int width = 0;   ///< the room a line has; a longer one is cut with an ellipsis
        qreal ratio = 1; ///< device pixels per pixel

        bool operator==(const Style&) const = default;
    };

    /// The picture of `text` in `style`, one line high (the font's height) and as wide as the
    /// text, at most `style.width`.
    const QPixmap& picture(const Style& style, const QString& text);

private:
    Style m_style;
    QHash<QString, QPixmap> m_pictures;
};

} // namespace kinloom
