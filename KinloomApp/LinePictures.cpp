#include "LinePictures.h"

#include <QFontMetrics>
#include <QImage>
#include <QPainter>

namespace kinloom {

namespace {

/// Pictures kept at most: a list of unusual titles must not hold every one of them.
constexpr qsizetype maxPictures = 4096;

} // namespace

const QPixmap& LinePictures::picture(const Style& style, const QString& text)
{
    if (!(style == m_style)) {
        m_style = style;
        m_pictures.clear();
    }
    if (auto found = m_pictures.constFind(text); found != m_pictures.constEnd())
        return *found;
    if (m_pictures.size() >= maxPictures)
        m_pictures.clear();

    const QFontMetrics metrics(style.font);
    const QString shown = metrics.elidedText(text, Qt::ElideRight, style.width);
    // A glyph may reach a little past its advance; the picture keeps that ink.
    const int width =
        std::min(style.width, metrics.horizontalAdvance(shown) + metrics.averageCharWidth() / 2);
    QImage image(QSize(std::max(width, 1), metrics.height()) * style.ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(style.ratio);
    image.fill(style.background);
    {
        QPainter painter(&image);
        painter.setFont(style.font);
        painter.setPen(style.colour);
        painter.drawText(QPoint(0, metrics.ascent()), shown);
    }
    return *m_pictures.insert(text, QPixmap::fromImage(std::move(image)));
}

} // namespace kinloom
