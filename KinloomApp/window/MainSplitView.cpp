#include "window/MainSplitView.h"

#include "session/AppModel.h"
#include "window/ChangesView.h"
#include "window/findings/IssueListView.h"
#include "window/OverviewView.h"
#include "window/SelectionBar.h"
#include "window/SidebarView.h"

#include <QStackedWidget>
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
        if (field == AppModel::Field::sidebar)
            showSelected();
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

} // namespace kinloom
