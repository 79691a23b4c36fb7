#pragma once

#include "checks/Issue.h"

#include <QHash>
#include <QPixmap>
#include <QStaticText>
#include <QStyledItemDelegate>

#include <array>

namespace kinloom {

/// Draws a finding's row (severity icon, title, detail, and for a fix its tick box and title) and
/// the rows of its preview, and ticks the box on a click or the space bar.
class IssueRow final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

private:
    [[nodiscard]] static QRect checkBoxRect(const QStyleOptionViewItem& option);
    /// Draws one line of text, cut with an ellipsis to `width`. Titles and fix titles repeat from
    /// row to row, so their laid-out glyphs are kept.
    void drawLine(QPainter& painter, QPoint topLeft, int width, const QString& text, bool bold) const;
    /// The tick box, drawn by the style once per state and kept as a picture.
    const QPixmap& checkBox(const QStyleOptionViewItem& option, bool checked) const;
    /// The severity's icon as a picture of the size a row shows.
    const QPixmap& severityPicture(Severity severity, qreal ratio) const;

    mutable QHash<QString, QStaticText> m_lines[2]; ///< plain and bold, for the current width
    mutable int m_linesWidth = -1;
    mutable QPixmap m_boxes[2];
    mutable qint64 m_boxesKey = -1;
    mutable std::array<QPixmap, 3> m_severities;
};

} // namespace kinloom
