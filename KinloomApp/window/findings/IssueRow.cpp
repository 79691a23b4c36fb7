// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/findings/IssueRow.h"

#include "window/PreviewTable.h"
#include "window/findings/IssueListModel.h"
#include "window/findings/SeverityIcon.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

namespace kinloom {

namespace {

constexpr int margin = 6;
constexpr int iconSize = 16;

IssueListModel::RowType rowType(const QModelIndex& index)
{
    return IssueListModel::RowType(index.data(IssueListModel::RowTypeRole).toInt());
}

QFont boldFont(const QFont& font)
{
    QFont bold = font;
    bold.setBold(true);
    return bold;
}

/// The opaque colour that `colour` shows over `background`.
QColor mixedOver(const QColor& colour, const QColor& background)
{
    const float alpha = colour.alphaF();
    const auto mix = [alpha](float over, float under) { return over * alpha + under * (1 - alpha); };
    return QColor::fromRgbF(mix(colour.redF(), background.redF()), mix(colour.greenF(), background.greenF()),
                            mix(colour.blueF(), background.blueF()));
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

int IssueRow::textWidth(const QStyleOptionViewItem& option)
{
    return option.rect.width() - 3 * margin - iconSize - 1;
}

int IssueRow::fixWidth(const QStyleOptionViewItem& option)
{
    return option.rect.right() - margin - checkBoxRect(option).right() - margin;
}

QSize IssueRow::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const int line = option.fontMetrics.height();
    switch (rowType(index)) {
    case IssueListModel::RowType::previewLine:
        return {200, line + 6};
    case IssueListModel::RowType::group:
        // Room for the "Tick all" button beside the title.
        return {300, 2 * margin + line + 10};
    case IssueListModel::RowType::finding:
        break;
    }
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

    switch (rowType(index)) {
    case IssueListModel::RowType::previewLine:
        PreviewTable::paint(*painter, option,
                            {index.data(IssueListModel::PreviewContextRole).toString(),
                             index.data(IssueListModel::PreviewBeforeRole),
                             index.data(IssueListModel::PreviewAfterRole)});
        return;
    case IssueListModel::RowType::group:
        paintGroup(*painter, option, index);
        return;
    case IssueListModel::RowType::finding:
        break;
    }

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const QColor background = palette.color(QPalette::Base);
    // A translucent pen blends every glyph the slow way; on the plain background the same colour
    // is mixed once, in advance.
    const QColor muted = selected ? palette.color(QPalette::HighlightedText)
                         : plain  ? mixedOver(palette.color(QPalette::PlaceholderText), background)
                                  : palette.color(QPalette::PlaceholderText);
    const qreal ratio = painter->device()->devicePixelRatioF();
    const QSize dpi(painter->device()->logicalDpiX(), painter->device()->logicalDpiY());
    const int line = option.fontMetrics.height();
    const QRect area = option.rect.adjusted(margin, margin, -margin, -margin);
    const int textLeft = area.left() + iconSize + margin;
    const int textWidth = IssueRow::textWidth(option);
    if (!m_font || option.font != *m_font) {
        m_font = option.font;
        m_bold = boldFont(option.font);
    }

    painter->save();
    const auto severity = Severity(index.data(IssueListModel::SeverityRole).toInt());
    painter->drawPixmap(QPoint(area.left(), area.top() + (line - iconSize) / 2),
                        severityPicture(severity, ratio));

    const int ascent = option.fontMetrics.ascent();
    // Titles are cut as the toolkit cuts them; details and fix titles after a whole word.
    const QString titleText = index.data().toString();
    const LinePictures::Draw title = [&](QPainter& on, QPoint baseline) {
        const QFontMetrics metrics = on.fontMetrics();
        const QString shown = metrics.elidedText(titleText, Qt::ElideRight, textWidth);
        on.drawText(baseline, shown);
        return metrics.horizontalAdvance(shown);
    };
    drawLine(*painter, m_titles, {m_bold, text, background, textWidth, ratio, dpi}, plain,
             {textLeft, area.top() + ascent}, titleText, title);

    painter->setFont(option.font);
    painter->setPen(muted);
    drawWords(*painter, {textLeft, area.top() + line + ascent}, textWidth,
              index.data(IssueListModel::DetailRole).toString());

    if (const QVariant fixTitle = index.data(IssueListModel::FixTitleRole); !fixTitle.isNull()) {
        const QRect box = checkBoxRect(option);
        painter->drawPixmap(
            box.topLeft(),
            checkBox(option, index.data(Qt::CheckStateRole).value<Qt::CheckState>() == Qt::Checked));
        const int fixLeft = box.right() + margin;
        const int fixWidth = IssueRow::fixWidth(option);
        const QString fixText = fixTitle.toString();
        drawLine(*painter, m_fixTitles, {option.font, text, background, fixWidth, ratio, dpi}, plain,
                 {fixLeft, area.top() + 2 * line + 2 + ascent}, fixText,
                 [&](QPainter& on, QPoint baseline) { return drawWords(on, baseline, fixWidth, fixText); });
    }
    painter->restore();
}

void IssueRow::paintGroup(QPainter& painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const
{
    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    if (!selected)
        painter.fillRect(option.rect, palette.color(QPalette::AlternateBase));
    const int line = option.fontMetrics.height();
    const int left = option.rect.left() + margin;
    const int top = option.rect.top() + (option.rect.height() - line) / 2;
    const auto severity = Severity(index.data(IssueListModel::SeverityRole).toInt());
    painter.drawPixmap(QPoint(left, top + (line - iconSize) / 2),
                       severityPicture(severity, painter.device()->devicePixelRatioF()));

    // The count follows the title; both end before the button at the row's right end.
    const QString count = QLocale().toString(index.data(IssueListModel::GroupCountRole).toULongLong());
    const int textLeft = left + iconSize + margin;
    const int room = option.rect.right() - textLeft - buttonRoom(option);
    QFont bold = option.font;
    bold.setBold(true);
    const QFontMetrics boldMetrics(bold, painter.device());
    const int countWidth = option.fontMetrics.horizontalAdvance(count) + 2 * margin;
    const QString title =
        boldMetrics.elidedText(index.data().toString(), Qt::ElideRight, std::max(0, room - countWidth));
    const int baseline = top + option.fontMetrics.ascent();
    painter.save();
    painter.setFont(bold);
    painter.setPen(palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    painter.drawText(QPoint(textLeft, baseline), title);
    painter.setFont(option.font);
    painter.setPen(palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText));
    painter.drawText(QPoint(textLeft + boldMetrics.horizontalAdvance(title) + 2 * margin, baseline), count);
    painter.restore();
}

int IssueRow::buttonRoom(const QStyleOptionViewItem& option)
{
    return option.fontMetrics.horizontalAdvance(QStringLiteral("Tick all 00,000 fixes")) + 6 * margin;
}

void IssueRow::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                    const QModelIndex& index) const
{
    if (rowType(index) != IssueListModel::RowType::group) {
        QStyledItemDelegate::updateEditorGeometry(editor, option, index);
        return;
    }
    const QSize wanted = editor->sizeHint();
    const int height = std::min(wanted.height(), option.rect.height() - 4);
    editor->setGeometry(option.rect.right() - margin - wanted.width(),
                        option.rect.top() + (option.rect.height() - height) / 2, wanted.width(), height);
}

QString IssueRow::toolTip(const QStyleOptionViewItem& option, const QModelIndex& index)
{
    if (rowType(index) != IssueListModel::RowType::finding)
        return {};
    const QFontMetricsF metrics(option.font);
    const QFontMetricsF boldMetrics(boldFont(option.font));
    const auto cut = [](const QFontMetricsF& by, const QString& text, int width) {
        return by.horizontalAdvance(text) > width;
    };
    QString tip;
    const QString title = index.data().toString();
    if (cut(boldMetrics, title, textWidth(option)))
        tip += QStringLiteral("<p><b>") + title.toHtmlEscaped() + QStringLiteral("</b></p>");
    const QString detail = index.data(IssueListModel::DetailRole).toString();
    if (cut(metrics, detail, textWidth(option)))
        tip += QStringLiteral("<p>") + detail.toHtmlEscaped() + QStringLiteral("</p>");
    if (const QString fix = index.data(IssueListModel::FixTitleRole).toString();
        cut(metrics, fix, fixWidth(option)))
        tip += QStringLiteral("<p>Fix: ") + fix.toHtmlEscaped() + QStringLiteral("</p>");
    if (index.data(IssueListModel::FixNeedsReviewRole).toBool())
        tip += QStringLiteral(
            "<p>Check before applying: this fix may change what the record says, so ticking "
            "a whole list or group leaves it out. Read its preview, then tick it yourself.</p>");
    return tip;
}

bool IssueRow::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                         const QModelIndex& index)
{
    if (event->type() != QEvent::ToolTip)
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    const QString tip = toolTip(option, index);
    if (tip.isEmpty())
        QToolTip::hideText();
    else
        QToolTip::showText(event->globalPos(), tip, view->viewport(), option.rect);
    return true;
}

void IssueRow::drawLine(QPainter& painter, LinePictures& pictures, const LinePictures::Style& style,
                        bool plain, QPoint baseline, const QString& text,
                        const LinePictures::Draw& draw) const
{
    if (plain) {
        if (const QPixmap* picture = pictures.picture(style, text, draw)) {
            painter.drawPixmap(baseline - QPoint(0, QFontMetrics(style.font, painter.device()).ascent()),
                               *picture);
            return;
        }
    }
    painter.setFont(style.font);
    painter.setPen(style.colour);
    draw(painter, baseline);
}

int IssueRow::drawWords(QPainter& painter, QPoint baseline, int width, const QString& text) const
{
    if (const std::optional<qreal> reach = m_words.draw(painter, baseline, width, text))
        return qCeil(*reach);
    const QString shown = painter.fontMetrics().elidedText(text, Qt::ElideRight, width);
    painter.drawText(baseline, shown);
    return painter.fontMetrics().horizontalAdvance(shown);
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
