// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/SidebarView.h"

#include "session/AppModel.h"
#include "session/QtText.h"
#include "window/HelpView.h"
#include "window/Icons.h"

#include <QLocale>
#include <QPainter>
#include <QResizeEvent>
#include <QStyledItemDelegate>
#include <QToolButton>

namespace kinloom {

namespace {

constexpr int countRole = Qt::UserRole + 1;
constexpr int changesRow = int(allIssueCategories.size()) + 1;

/// Draws an entry's count at its right end, as sidebars do.
class CountDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const QVariant count = index.data(countRole);
        QStyleOptionViewItem opt = option;
        if (count.isNull()) {
            QStyledItemDelegate::paint(painter, opt, index);
            return;
        }
        const QString text = count.toString();
        const int width = option.fontMetrics.horizontalAdvance(text) + 12;
        opt.rect.setRight(opt.rect.right() - width);
        // Paint the whole row's background first so the count's cell matches it.
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        background.icon = QIcon();
        option.widget->style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter,
                                              option.widget);
        QStyledItemDelegate::paint(painter, opt, index);
        painter->save();
        painter->setPen(option.palette.color(
            option.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::PlaceholderText));
        painter->drawText(QRect(opt.rect.right(), option.rect.top(), width - 6, option.rect.height()),
                          Qt::AlignRight | Qt::AlignVCenter, text);
        painter->restore();
    }
};

} // namespace

int SidebarView::rowOf(const SidebarItem& item)
{
    switch (item.kind) {
    case SidebarItem::Kind::overview:
        return 0;
    case SidebarItem::Kind::category:
        return 1 + int(item.category);
    case SidebarItem::Kind::changes:
        return changesRow;
    }
    return 0;
}

SidebarView::SidebarView(AppModel& model, QWidget* parent) : QListWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("sidebar"));
    setAccessibleName(QStringLiteral("Sections"));
    setItemDelegate(new CountDelegate(this));
    setIconSize(QSize(18, 18));
    setUniformItemSizes(true);
    setSpacing(1);

    addItem(new QListWidgetItem(symbolIcon("chart.bar.doc.horizontal"), QStringLiteral("Overview")));
    for (IssueCategory category : allIssueCategories) {
        auto* entry = new QListWidgetItem(symbolIcon(categorySymbol(category)), fromUtf8(title(category)));
        entry->setToolTip(HelpView::categoryLine(category));
        addItem(entry);
    }
    addItem(new QListWidgetItem(symbolIcon("list.bullet.clipboard"), QStringLiteral("Changes")));

    m_dismissed = new QToolButton(this);
    m_dismissed->setObjectName(QStringLiteral("showDismissedButton"));
    m_dismissed->setCheckable(true);
    m_dismissed->setToolTip(QStringLiteral("Show Dismissed: list the findings marked Not a Problem, "
                                           "to bring one back"));
    connect(m_dismissed, &QToolButton::toggled, this, &SidebarView::showDismissed);
    // The button sits in a strip of its own under the entries.
    setViewportMargins(0, 0, 0, m_dismissed->sizeHint().height() + 8);

    connect(this, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row == 0)
            m_model.setSidebar(SidebarItem::overview());
        else if (row == changesRow)
            m_model.setSidebar(SidebarItem::changes());
        else if (row > 0)
            m_model.setSidebar(SidebarItem::forCategory(allIssueCategories[std::size_t(row - 1)]));
    });
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::result || field == AppModel::Field::changes ||
            field == AppModel::Field::search || field == AppModel::Field::shownSeverities ||
            field == AppModel::Field::dismissed || field == AppModel::Field::showDismissed)
            refreshCounts();
        else if (field == AppModel::Field::sidebar)
            showSelection();
    });
    refreshCounts();
    showSelection();
}

void SidebarView::refreshCounts()
{
    std::array<std::size_t, allIssueCategories.size()> counts{};
    // While a search or the severity filter hides findings, each category counts those it shows.
    if (const auto& result = m_model.result()) {
        for (std::size_t i = 0; i < result->issues.size(); ++i) {
            if (m_model.isShown(i))
                ++counts[std::size_t(result->issues[i].category)];
        }
    }
    for (IssueCategory category : allIssueCategories) {
        QListWidgetItem* entry = item(1 + int(category));
        const std::size_t count = counts[std::size_t(category)];
        entry->setData(countRole, m_model.result() ? QVariant(qulonglong(count)) : QVariant());
        entry->setData(Qt::AccessibleTextRole, entry->text() + QStringLiteral(", ") + QString::number(count));
    }
    const std::size_t changes = m_model.changes().size();
    item(changesRow)->setData(countRole, changes > 0 ? QVariant(qulonglong(changes)) : QVariant());

    const std::size_t dismissed = m_model.result() ? m_model.dismissedCount() : 0;
    const QSignalBlocker blocker(m_dismissed);
    m_dismissed->setChecked(m_model.showDismissed());
    m_dismissed->setText(QLocale().toString(qulonglong(dismissed)) + QStringLiteral(" dismissed"));
    m_dismissed->setAccessibleName(QStringLiteral("Show Dismissed, ") + m_dismissed->text());
    m_dismissed->setVisible(dismissed > 0 || m_model.showDismissed());
}

void SidebarView::showDismissed(bool shown)
{
    m_model.setShowDismissed(shown);
    // The dismissed findings are listed in their categories, so one is shown: the first with any.
    if (!shown || !m_model.result() ||
        (m_model.sidebar() && m_model.sidebar()->kind == SidebarItem::Kind::category))
        return;
    const auto& issues = m_model.result()->issues;
    std::size_t first = 0;
    while (first < issues.size() && !m_model.isDismissed(first))
        ++first;
    m_model.setSidebar(
        SidebarItem::forCategory(first < issues.size() ? issues[first].category : IssueCategory::duplicates));
}

void SidebarView::resizeEvent(QResizeEvent* event)
{
    QListWidget::resizeEvent(event);
    const QRect area = contentsRect();
    const int height = m_dismissed->sizeHint().height();
    m_dismissed->setGeometry(area.left() + 4, area.bottom() - height - 3, area.width() - 8, height);
}

void SidebarView::showSelection()
{
    const QSignalBlocker blocker(this);
    setCurrentRow(rowOf(m_model.sidebar().value_or(SidebarItem::overview())));
}

} // namespace kinloom
