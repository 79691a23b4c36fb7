// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/findings/LinePictures.h"

#include <QFontMetrics>
#include <QImage>
#include <QPainter>

namespace kinloom {

namespace {

/// Pictures kept at most. A list has a few dozen titles; beyond this many, lines are drawn as text.
constexpr qsizetype maxPictures = 512;
/// Lines remembered as seen once, at most, before they are forgotten.
constexpr qsizetype maxSeen = 8192;
constexpr double inchesPerMeter = 0.0254;

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

    // The picture has the device's resolution, so a font given in points has the same size on it.
    const auto onDevice = [&style](QSize size) {
        QImage image(size, QImage::Format_RGB32);
        image.setDotsPerMeterX(qRound(style.dpi.width() / inchesPerMeter));
        image.setDotsPerMeterY(qRound(style.dpi.height() / inchesPerMeter));
        return image;
    };
    const QImage probe = onDevice({1, 1});
    const QFontMetrics metrics(style.font, &probe);
    // A glyph may reach a little past its advance; the picture keeps that ink.
    const int slack = metrics.averageCharWidth() / 2;
    QImage image = onDevice(QSize(style.width + slack, metrics.height()) * style.ratio);
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
