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
    // Only a finding with a fix has a tick box: its flags say so without building the fix's title.
    const bool hasFix = index.flags() & Qt::ItemIsUserCheckable;
    return {300, 2 * margin + (hasFix ? 3 : 2) * line + (hasFix ? 4 : 0)};
}

void IssueRow::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    // A plain row shows the list's own background: the style would draw nothing on it, and its
    // titles can come from pictures drawn on that background.
    const bool plain = !(option.state & (QStyle::State_Selected | QStyle::State_MouseOver)) &&
                       option.backgroundBrush.style() == Qt::NoBrush &&
                       option.palette.brush(QPalette::Base).style() == Qt::SolidPattern;
    if (!plain)
        styleOf(option)->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, painter, option.widget);

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
    const QColor background = palette.color(QPalette::Base);
    const qreal ratio = painter->device()->devicePixelRatioF();
    const int line = option.fontMetrics.height();
    const QRect area = option.rect.adjusted(margin, margin, -margin, -margin);
    const int textLeft = area.left() + iconSize + margin;
    const int textWidth = area.right() - textLeft;
    if (!m_font || option.font != *m_font) {
        m_font = option.font;
        m_bold = boldFont(option.font);
    }

    painter->save();
    const auto severity = Severity(index.data(IssueListModel::SeverityRole).toInt());
    painter->drawPixmap(QPoint(area.left(), area.top() + (line - iconSize) / 2),
                        severityPicture(severity, ratio));

    drawTitle(*painter, m_titles, {m_bold, text, background, textWidth, ratio}, plain,
              {textLeft, area.top(), textWidth, line}, index.data().toString());

    painter->setFont(option.font);
    painter->setPen(muted);
    const QString detail = index.data(IssueListModel::DetailRole).toString();
    const QPoint baseline(textLeft, area.top() + line + option.fontMetrics.ascent());
    if (!m_details.draw(*painter, baseline, textWidth, detail))
        painter->drawText(baseline, option.fontMetrics.elidedText(detail, Qt::ElideRight, textWidth));

    if (const QVariant fixTitle = index.data(IssueListModel::FixTitleRole); !fixTitle.isNull()) {
        const QRect box = checkBoxRect(option);
        painter->drawPixmap(
            box.topLeft(),
            checkBox(option, index.data(Qt::CheckStateRole).value<Qt::CheckState>() == Qt::Checked));
        const int fixLeft = box.right() + margin;
        drawTitle(*painter, m_fixTitles, {option.font, text, background, area.right() - fixLeft, ratio},
                  plain, {fixLeft, area.top() + 2 * line + 2, area.right() - fixLeft, line},
                  fixTitle.toString());
    }
    painter->restore();
}

void IssueRow::drawTitle(QPainter& painter, LinePictures& pictures, const LinePictures::Style& style,
                         bool plain, QRect line, const QString& text) const
{
    if (plain) {
        const QPixmap& picture = pictures.picture(style, text);
        const int height = qRound(picture.deviceIndependentSize().height());
        painter.drawPixmap(line.topLeft() + QPoint(0, (line.height() - height) / 2), picture);
        return;
    }
    const QFontMetrics metrics(style.font);
    painter.setFont(style.font);
    painter.setPen(style.colour);
    painter.drawText(line.topLeft() + QPoint(0, (line.height() - metrics.height()) / 2 + metrics.ascent()),
                     metrics.elidedText(text, Qt::ElideRight, style.width));
}

const QPixmap& IssueRow::severityPicture(Severity severity, qreal ratio) const
{
    QPixmap& picture = m_severities[std::size_t(severity)];
    if (picture.isNull() || picture.devicePixelRatio() != ratio)
        picture = SeverityIcon::icon(severity).pixmap(QSize(iconSize, iconSize), ratio);
    return picture;
}

const QPixmap& IssueRow::checkBox(const QStyleOptionViewItem& option, bool checked) const
{
    const QRect rect = checkBoxRect(option);
    const qreal ratio = option.widget ? option.widget->devicePixelRatioF() : 1.0;
    const qint64 key = option.palette.cacheKey() ^ (qint64(rect.width()) << 48) ^ qint64(ratio * 100) << 40;
    if (key != m_boxesKey) {
        m_boxesKey = key;
        for (int state = 0; state < 2; ++state) {
            QPixmap picture(rect.size() * ratio);
            picture.setDevicePixelRatio(ratio);
            picture.fill(Qt::transparent);
            QPainter painter(&picture);
            QStyleOptionButton box;
            box.rect = QRect(QPoint(0, 0), rect.size());
            box.state = QStyle::State_Enabled | (state ? QStyle::State_On : QStyle::State_Off);
            box.palette = option.palette;
            styleOf(option)->drawPrimitive(QStyle::PE_IndicatorCheckBox, &box, &painter, option.widget);
            m_boxes[state] = picture;
        }
    }
    return m_boxes[checked ? 1 : 0];
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
