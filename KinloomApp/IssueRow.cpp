#include "IssueRow.h"

#include "IssueListModel.h"
#include "PreviewTable.h"
#include "SeverityIcon.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace kinloom {

namespace {

constexpr int margin = 6;
constexpr int iconSize = 16;

bool isPreviewLine(const QModelIndex& index)
{
    return index.parent().isValid();
}

QFont boldFont(const QFont& font)
{
    QFont bold = font;
    bold.setBold(true);
    return bold;
}

const QStyle* styleOf(const QStyleOptionViewItem& option)
{
    return option.widget ? option.widget->style() : QApplication::style();
}

} // namespace

QRect IssueRow::checkBoxRect(const QStyleOptionViewItem& option)
{
    const int line = option.fontMetrics.height();
    const int indicator = styleOf(option)->pixelMetric(QStyle::PM_IndicatorWidth, &option, option.widget);
    const int top = option.rect.top() + margin + 2 * line + 2 + (line - indicator) / 2;
    return {option.rect.left() + margin + iconSize + margin, top, indicator, indicator};
}

QSize IssueRow::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const int line = option.fontMetrics.height();
    if (isPreviewLine(index))
        return {200, line + 6};
    const bool hasFix = !index.data(IssueListModel::FixTitleRole).isNull();
    return {300, 2 * margin + (hasFix ? 3 : 2) * line + (hasFix ? 4 : 0)};
}

void IssueRow::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QStyle* style = styleOf(opt);
    // The background and selection, without the default text and tick box.
    opt.text.clear();
    opt.features &= ~QStyleOptionViewItem::HasCheckIndicator;
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &opt, painter, opt.widget);

    if (isPreviewLine(index)) {
        PreviewTable::paint(*painter, option,
                            {index.data(IssueListModel::PreviewContextRole).toString(),
                             index.data(IssueListModel::PreviewBeforeRole),
                             index.data(IssueListModel::PreviewAfterRole)});
        return;
    }

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const QColor muted = palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText);
    const int line = option.fontMetrics.height();
    const QRect area = option.rect.adjusted(margin, margin, -margin, -margin);
    const int textLeft = area.left() + iconSize + margin;
    const int textWidth = area.right() - textLeft;

    painter->save();
    const auto severity = Severity(index.data(IssueListModel::SeverityRole).toInt());
    SeverityIcon::icon(severity).paint(
        painter, QRect(area.left(), area.top() + (line - iconSize) / 2, iconSize, iconSize));

    painter->setFont(boldFont(option.font));
    painter->setPen(text);
    const QFontMetrics boldMetrics(painter->font());
    painter->drawText(QRect(textLeft, area.top(), textWidth, line), Qt::AlignLeft | Qt::AlignVCenter,
                      boldMetrics.elidedText(index.data().toString(), Qt::ElideRight, textWidth));

    painter->setFont(option.font);
    painter->setPen(muted);
    painter->drawText(QRect(textLeft, area.top() + line, textWidth, line), Qt::AlignLeft | Qt::AlignVCenter,
                      option.fontMetrics.elidedText(index.data(IssueListModel::DetailRole).toString(),
                                                    Qt::ElideRight, textWidth));

    if (const QVariant fixTitle = index.data(IssueListModel::FixTitleRole); !fixTitle.isNull()) {
        QStyleOptionButton box;
        box.rect = checkBoxRect(option);
        box.state =
            QStyle::State_Enabled |
            (index.data(Qt::CheckStateRole).value<Qt::CheckState>() == Qt::Checked ? QStyle::State_On
                                                                                   : QStyle::State_Off);
        box.palette = palette;
        style->drawPrimitive(QStyle::PE_IndicatorCheckBox, &box, painter, option.widget);
        const int fixLeft = box.rect.right() + margin;
        painter->setPen(text);
        painter->drawText(
            QRect(fixLeft, area.top() + 2 * line + 2, area.right() - fixLeft, line),
            Qt::AlignLeft | Qt::AlignVCenter,
            option.fontMetrics.elidedText(fixTitle.toString(), Qt::ElideRight, area.right() - fixLeft));
    }
    painter->restore();
}

bool IssueRow::editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                           const QModelIndex& index)
{
    if (!(index.flags() & Qt::ItemIsUserCheckable))
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonRelease: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        // The tick box and the fix title beside it both tick, like a labelled check box.
        const QRect box = checkBoxRect(option);
        const QRect fixLine(box.left(), box.top() - 2, option.rect.right() - box.left(), box.height() + 4);
        if (mouse->button() != Qt::LeftButton || !fixLine.contains(mouse->position().toPoint()))
            return false;
        break;
    }
    case QEvent::MouseButtonDblClick:
        return checkBoxRect(option).contains(static_cast<QMouseEvent*>(event)->position().toPoint());
    case QEvent::KeyPress: {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key != Qt::Key_Space && key != Qt::Key_Select)
            return false;
        break;
    }
    default:
        return false;
    }
    const bool checked = index.data(Qt::CheckStateRole).value<Qt::CheckState>() == Qt::Checked;
    return model->setData(index, checked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
}

} // namespace kinloom
