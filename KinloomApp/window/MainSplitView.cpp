// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/MainSplitView.h"

#include "session/AppModel.h"
#include "window/ChangesView.h"
#include "window/OverviewView.h"
#include "window/SelectionBar.h"
#include "window/SidebarView.h"
#include "window/findings/IssueListModel.h"
#include "window/findings/IssueListView.h"

#include <QStackedWidget>
#include <QTreeView>
#include <QVBoxLayout>

namespace kinloom {

MainSplitView::MainSplitView(AppModel& model, QWidget* parent)
    : QSplitter(Qt::Horizontal, parent), m_model(model)
{
    setObjectName(QStringLiteral("mainSplit"));
    setChildrenCollapsible(false);
    m_sidebar = new SidebarView(model, this);
    m_sidebar->setMinimumWidth(180);

    auto* right = new QWidget(this);
    m_stack = new QStackedWidget(right);
    m_overview = new OverviewView(model, m_stack);
    m_issueList = new IssueListView(model, m_stack);
    m_changes = new ChangesView(model, m_stack);
    m_stack->addWidget(m_overview);
    m_stack->addWidget(m_issueList);
    m_stack->addWidget(m_changes);
    m_selectionBar = new SelectionBar(model, right);
    auto* layout = new QVBoxLayout(right);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_stack, 1);
    layout->addWidget(m_selectionBar);

    addWidget(m_sidebar);
    addWidget(right);
    setStretchFactor(1, 1);
    setSizes({220, 780});

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        switch (field) {
        case AppModel::Field::sidebar:
            showSelected();
            break;
        // Each is changed before the rescan it leads to, while the list still shows the old findings.
        case AppModel::Field::history:
        case AppModel::Field::options:
            rememberPlace();
            break;
        case AppModel::Field::result:
            restorePlace();
            break;
        default:
            break;
        }
    });
    showSelected();
}

void MainSplitView::showSelected()
{
    const SidebarItem item = m_model.sidebar().value_or(SidebarItem::overview());
    switch (item.kind) {
    case SidebarItem::Kind::overview:
        m_stack->setCurrentWidget(m_overview);
        break;
    case SidebarItem::Kind::category:
        m_issueList->setCategory(item.category);
        m_stack->setCurrentWidget(m_issueList);
        break;
    case SidebarItem::Kind::changes:
        m_stack->setCurrentWidget(m_changes);
        break;
    }
}

namespace {

/// A finding's row for any row under it, such as a line of its preview.
QModelIndex findingRow(QModelIndex index)
{
    while (index.parent().isValid() && index.parent().parent().isValid())
        index = index.parent();
    return index;
}

} // namespace

void MainSplitView::rememberPlace()
{
    m_current.reset();
    m_top.reset();
    if (!m_model.result() || m_stack->currentWidget() != m_issueList)
        return;
    const IssueListModel& list = *m_issueList->listModel();
    const auto rowOf = [&list](QModelIndex index) -> std::optional<Row> {
        index = findingRow(index);
        if (!index.isValid())
            return std::nullopt;
        if (!index.parent().isValid())
            return Row{std::string(list.groupKind(index.row())), {}, index.row(), 0};
        const Issue* issue = list.issue(index);
        return Row{std::string(list.groupKind(index.parent().row())), issue ? issue->id : std::string(),
                   index.parent().row(), index.row()};
    };
    m_current = rowOf(m_issueList->tree()->currentIndex());
    m_top = rowOf(m_issueList->tree()->indexAt(QPoint(0, 0)));
}

void MainSplitView::restorePlace()
{
    const std::optional<Row> current = std::exchange(m_current, std::nullopt);
    const std::optional<Row> top = std::exchange(m_top, std::nullopt);
    const IssueListModel& list = *m_issueList->listModel();
    const int groups = list.rowCount();
    if (!m_model.result() || groups == 0)
        return;
    // The same finding; when it went, the one now in its place in its group; when the whole group
    // went, the start of the group now in its place.
    const auto find = [&](const Row& row) {
        int group = 0;
        while (group < groups && list.groupKind(group) != row.kind)
            ++group;
        const bool sameGroup = group < groups;
        const QModelIndex parent = list.index(sameGroup ? group : std::min(row.group, groups - 1), 0);
        const int rows = list.rowCount(parent);
        if (!sameGroup)
            return rows > 0 ? list.index(0, 0, parent) : parent;
        if (row.finding.empty() || rows == 0)
            return parent;
        for (int i = 0; i < rows; ++i) {
            const QModelIndex index = list.index(i, 0, parent);
            if (const Issue* issue = list.issue(index); issue && issue->id == row.finding)
                return index;
        }
        return list.index(std::min(row.row, rows - 1), 0, parent);
    };
    QTreeView* tree = m_issueList->tree();
    if (top)
        tree->scrollTo(find(*top), QAbstractItemView::PositionAtTop);
    if (current) {
        const QModelIndex place = find(*current);
        if (place.parent().isValid())
            tree->expand(place.parent());
        tree->setCurrentIndex(place);
        tree->scrollTo(place);
    }
}

} // namespace kinloom
