// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QWidget>

#include <array>
#include <optional>
#include <set>
#include <string>

class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QToolButton;
class QTreeView;

namespace kinloom {

class AppModel;
class DuplicateCompare;
class IssueListModel;
class PlacePicker;

/// The findings of one category: "Tick every fix in this list", the search field and the severities
/// shown, the summary, the list grouped by kind (or "Nothing to fix here"), and under it the
/// comparison or the spellings of the current finding. While the session shows dismissed findings,
/// it lists those instead, without their fixes.
class IssueListView final : public QWidget
{
    Q_OBJECT

public:
    explicit IssueListView(AppModel& model, QWidget* parent = nullptr);

    void setCategory(IssueCategory category);
    [[nodiscard]] IssueCategory category() const;
    [[nodiscard]] IssueListModel* listModel() const { return m_listModel; }
    [[nodiscard]] QTreeView* tree() const { return m_tree; }
    /// Puts the keyboard in the search field, its text selected.
    void focusSearch();

    /// "Nothing to fix here" is followed by this sentence for an empty category.
    [[nodiscard]] static QString emptySentence(IssueCategory category);
    /// The line above the list: how many findings come with a fix, can be merged, or are flagged.
    [[nodiscard]] static QString summary(const std::vector<const Issue*>& issues);

private:
    void refresh();
    void showCurrent();
    /// After the list is rebuilt: each group's "Tick all" button, and which groups are open.
    void dressGroups();
    void tickGroup(int group);
    void showFilters();
    /// The context menu of the finding at this point of the list: "Not a Problem" or "Bring Back".
    void showMenu(const QPoint& position);
    /// After a decision took a finding out, makes the one now in its place current.
    void keepPlace();

    AppModel& m_model;
    IssueListModel* m_listModel = nullptr;
    QLabel* m_title = nullptr;
    QLabel* m_explanation = nullptr; ///< under the title: what the category's findings are about
    QLabel* m_note = nullptr;
    QLabel* m_summary = nullptr;
    QPushButton* m_tickAll = nullptr;
    QPushButton* m_untickAll = nullptr;
    QLineEdit* m_search = nullptr;
    std::array<QToolButton*, 3> m_severityButtons{}; ///< by `Severity`
    QLabel* m_nothing = nullptr;
    QStackedWidget* m_stack = nullptr;
    QTreeView* m_tree = nullptr;
    QLabel* m_emptySentence = nullptr;
    QWidget* m_details = nullptr;
    QWidget* m_detailsArea = nullptr;
    QLabel* m_fullDetail = nullptr; ///< the current finding's detail, whole: rows elide it
    DuplicateCompare* m_compare = nullptr;
    PlacePicker* m_places = nullptr;
    std::set<std::string, std::less<>> m_openKinds; ///< the groups the user opened, by kind
    bool m_dressing = false;                        ///< groups are opened by the list, not the user
    /// Where the finding just decided was: its group's kind and row, and its row in the group.
    struct Place
    {
        std::string kind;
        int group = 0;
        int row = 0;
    };
    std::optional<Place> m_place;
};

} // namespace kinloom
