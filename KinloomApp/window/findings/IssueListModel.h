// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QAbstractItemModel>

#include <algorithm>

#include <array>
#include <cstdint>
#include <vector>

namespace kinloom {

class AppModel;

/// The findings of one category that pass the session's search and severity filter, either those
/// not dismissed or, while the session shows them, the dismissed ones, as a tree: a
/// row per kind of finding, the most severe kinds first; under it a row per finding; and under a
/// finding with a fix a row per line of its preview. The tick box of a finding is its fix's
/// membership in the session's selection.
class IssueListModel final : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Role
    {
        DetailRole = Qt::UserRole + 1, ///< the finding's detail
        FixTitleRole,                  ///< the title of the fix to apply; none without a fix
        SeverityRole,                  ///< the finding's `Severity` as an int; a group's most severe
        IssueIndexRole,                ///< the finding's index in the scan result
        PreviewContextRole,            ///< of a preview line
        PreviewBeforeRole,             ///< of a preview line; none when it adds the line
        PreviewAfterRole,              ///< of a preview line; none when it removes the line
        RowTypeRole,                   ///< a `RowType` as an int
        GroupCountRole,                ///< of a group: how many findings it shows
        FixNeedsReviewRole,            ///< whether the fix to apply is one to check before applying
    };

    /// What a row of the tree is; a model without `RowTypeRole` has findings only.
    enum class RowType
    {
        finding,
        group,
        previewLine
    };

    explicit IssueListModel(AppModel& model, QObject* parent = nullptr);

    void setCategory(IssueCategory category);
    [[nodiscard]] IssueCategory category() const { return m_category; }
    /// The finding shown at this row of the tree, or at the row of its preview line; none for a group.
    [[nodiscard]] const Issue* issue(const QModelIndex& index) const;
    /// The ids of the listed findings' fixes that need no review, for "Tick every fix in this list":
    /// a merge or a date read from words is ticked one at a time, after a look.
    [[nodiscard]] std::vector<std::string> fixIDs() const;
    /// The ids of a group's fixes that need no review, for its "Tick all", and how many there are.
    [[nodiscard]] std::vector<std::string> groupFixIDs(int group) const;
    [[nodiscard]] std::size_t groupFixCount(int group) const
    {
        return m_groups[std::size_t(group)].quickFixes;
    }
    /// Whether any listed finding has a fix.
    [[nodiscard]] bool hasFixes() const { return m_hasFixes; }
    /// Whether any listed finding has a fix that needs no review.
    [[nodiscard]] bool hasQuickFixes() const
    {
        return std::any_of(m_groups.begin(), m_groups.end(),
                           [](const Group& group) { return group.quickFixes > 0; });
    }
    /// The stable id of a group's kind of finding ("imp-alive"); empty for findings of no known kind.
    [[nodiscard]] std::string_view groupKind(int group) const;
    /// How many findings of the category are listed, and how many it has before the filters.
    [[nodiscard]] std::size_t listedCount() const { return m_rows.size(); }
    [[nodiscard]] std::size_t categoryCount() const { return m_categoryCount; }
    /// How many findings of the category the other list holds: the dismissed ones, or while they
    /// are shown, the others.
    [[nodiscard]] std::size_t otherCount() const { return m_otherCount; }
    /// How many findings of the category match the search, by severity, whether shown or not.
    [[nodiscard]] std::size_t matchingCount(Severity severity) const
    {
        return m_matching[std::size_t(severity)];
    }

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    struct Group
    {
        std::size_t kind = 0; ///< index into allFindingKinds(); their count for no known kind
        Severity severity = Severity::info;
        QString title;
        std::size_t begin = 0; ///< the group's findings are `m_rows[begin, end)`
        std::size_t end = 0;
        std::size_t quickFixes = 0; ///< fixes that need no review
    };

    void reload();
    void kindsChanged();
    void refreshRows(const QList<int>& roles);
    /// Inserts or removes preview lines where a place fix rebuilt for the chosen spelling has more or fewer.
    void placeLinesChanged();
    [[nodiscard]] int shownLines(const Issue& issue) const;
    [[nodiscard]] const Issue& issueAt(std::size_t position) const;
    /// Where in `m_rows` the finding at this index is.
    [[nodiscard]] std::size_t positionOf(const QModelIndex& finding) const;

    AppModel& m_model;
    IssueCategory m_category = IssueCategory::duplicates;
    std::vector<std::uint8_t> m_kinds; ///< per finding of the scan result, its kind's index
    std::vector<Group> m_groups;
    std::vector<std::size_t> m_rows; ///< indices into the scan result's findings, group by group
    std::vector<int> m_lines;        ///< the preview lines each of them shows
    std::size_t m_categoryCount = 0;
    std::size_t m_otherCount = 0;
    bool m_hasFixes = false;
    std::array<std::size_t, allSeverities.size()> m_matching{};
};

} // namespace kinloom
