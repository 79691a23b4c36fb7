// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>
#include <QString>
#include <QVariant>

class QPainter;
class QStyleOptionViewItem;

namespace kinloom::PreviewTable {

/// One line of a fix's preview as three cells: where, the line before, and the line after. Absent
/// sides read as added or removed.
struct Line
{
    QString context;
    QVariant before;
    QVariant after;
};

/// Paints the line into `option.rect`, its cells lined up with the other lines of the list.
void paint(QPainter& painter, const QStyleOptionViewItem& option, const Line& line);

} // namespace kinloom::PreviewTable
