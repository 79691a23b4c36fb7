#pragma once

#include <QStyledItemDelegate>

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
};

} // namespace kinloom
