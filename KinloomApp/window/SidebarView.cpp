#include "window/SidebarView.h"

#include "session/AppModel.h"
#include "session/QtText.h"
#include "window/Icons.h"

#include <QPainter>
#include <QStyledItemDelegate>

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
    for (IssueCategory category : allIssueCategories)
        addItem(new QListWidgetItem(symbolIcon(categorySymbol(category)), fromUtf8(title(category))));
    addItem(new QListWidgetItem(symbolIcon("list.bullet.clipboard"), QStringLiteral("Changes")));

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
            field == AppModel::Field::search || field == AppModel::Field::shownSeverities)
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
}

void SidebarView::showSelection()
{
    const QSignalBlocker blocker(this);
    setCurrentRow(rowOf(m_model.sidebar().value_or(SidebarItem::overview())));
}

} // namespace kinloom
