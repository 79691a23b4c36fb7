#include "LinePictures.h"

#include <QFontMetrics>
#include <QImage>
#include <QPainter>

namespace kinloom {

namespace {

/// Pictures kept at most. A list has a few dozen titles; beyond this many, lines are drawn as text.
constexpr qsizetype maxPictures = 512;
/// Lines remembered as seen once, at most, before they are forgotten.
constexpr qsizetype maxSeen = 8192;

} // namespace

const QPixmap* LinePictures::picture(const Style& style, const QString& text, const Draw& draw)
{
    if (!(style == m_style)) {
        m_style = style;
        m_pictures.clear();
        m_seen.clear();
    }
    if (auto found = m_pictures.constFind(text); found != m_pictures.constEnd())
        return &*found;
    if (m_pictures.size() >= maxPictures)
        return nullptr;
    if (!m_seen.contains(text)) {
        if (m_seen.size() >= maxSeen)
            m_seen.clear();
        m_seen.insert(text);
        return nullptr;
    }
    m_seen.remove(text);

    const QFontMetrics metrics(style.font);
    // A glyph may reach a little past its advance; the picture keeps that ink.
    const int slack = metrics.averageCharWidth() / 2;
    QImage image(QSize(style.width + slack, metrics.height()) * style.ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(style.ratio);
    image.fill(style.background);
    QPainter painter(&image);
    painter.setFont(style.font);
    painter.setPen(style.colour);
    const int reach = std::clamp(draw(painter, QPoint(0, metrics.ascent())) + slack, 1, style.width + slack);
    painter.end();
    const QImage used = image.copy(0, 0, qCeil(reach * style.ratio), image.height());
    return &*m_pictures.insert(text, QPixmap::fromImage(used));
}

} // namespace kinloom
