#pragma once

#include <QSplitter>

class QStackedWidget;

namespace kinloom {

class AppModel;
class ChangesView;
class IssueListView;
class OverviewView;
class SelectionBar;
class SidebarView;

/// The sidebar beside the view of its selected entry, with the selection bar under that view.
class MainSplitView final : public QSplitter
{
    Q_OBJECT

public:
    explicit MainSplitView(AppModel& model, QWidget* parent = nullptr);

    [[nodiscard]] SidebarView* sidebar() const { return m_sidebar; }
    [[nodiscard]] IssueListView* issueList() const { return m_issueList; }
    [[nodiscard]] OverviewView* overview() const { return m_overview; }
    [[nodiscard]] ChangesView* changesView() const { return m_changes; }

private:
    void showSelected();

    AppModel& m_model;
    SidebarView* m_sidebar = nullptr;
    QStackedWidget* m_stack = nullptr;
    OverviewView* m_overview = nullptr;
    IssueListView* m_issueList = nullptr;
    ChangesView* m_changes = nullptr;
    SelectionBar* m_selectionBar = nullptr;
};

} // namespace kinloom
