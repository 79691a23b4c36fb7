// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/PreviewTable.h"

#include <QApplication>
#include <QPainter>
#include <QStyleOptionViewItem>

namespace kinloom::PreviewTable {

void paint(QPainter& painter, const QStyleOptionViewItem& option, const Line& line)
{
    const QRect area = option.rect.adjusted(4, 0, -8, 0);
    // Fixed shares keep the cells of consecutive lines under each other, like a table.
    const int contextWidth = area.width() * 3 / 10;
    const int sideWidth = (area.width() - contextWidth) / 2;
    const QRect contextCell(area.left(), area.top(), contextWidth - 8, area.height());
    const QRect beforeCell(contextCell.right() + 8, area.top(), sideWidth - 8, area.height());
    const QRect afterCell(beforeCell.right() + 8, area.top(), sideWidth, area.height());

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const QColor muted = palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText);

    painter.save();
    painter.setFont(option.font);
    const QFontMetrics metrics(option.font);
    const auto cell = [&](const QRect& rect, const QString& value, const QColor& colour) {
        painter.setPen(colour);
        painter.drawText(rect, Qt::AlignVCenter | Qt::AlignLeft,
                         metrics.elidedText(value, Qt::ElideRight, rect.width()));
    };
    cell(contextCell, line.context, muted);
    cell(beforeCell, line.before.isNull() ? QStringLiteral("(added)") : line.before.toString(),
         line.before.isNull() ? muted : text);
    cell(afterCell,
         line.after.isNull() ? QStringLiteral("(removed)") : QStringLiteral("→ ") + line.after.toString(),
         line.after.isNull() ? muted : text);
    painter.restore();
}

} // namespace kinloom::PreviewTable
