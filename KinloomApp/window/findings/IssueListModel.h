#pragma once

#include "checks/Issue.h"

#include <QAbstractItemModel>

#include <vector>

namespace kinloom {

class AppModel;

/// The findings of one category as a tree: a row per finding, and under a finding with a fix one
/// child row per line of its preview. The tick box of a finding is its fix's membership in the
/// session's selection.
class IssueListModel final : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Role
    {
        DetailRole = Qt::UserRole + 1, ///< the finding's detail
        FixTitleRole,                  ///< the title of the fix to apply; none without a fix
        SeverityRole,                  ///< the finding's `Severity` as an int
        IssueIndexRole,                ///< the finding's index in the scan result
        PreviewContextRole,            ///< of a preview line
        PreviewBeforeRole,             ///< of a preview line; none when it adds the line
        PreviewAfterRole,              ///< of a preview line; none when it removes the line
    };

    explicit IssueListModel(AppModel& model, QObject* parent = nullptr);

    void setCategory(IssueCategory category);
    [[nodiscard]] IssueCategory category() const { return m_category; }
    /// The finding shown at this row of the tree, or at the row of its preview line.
    [[nodiscard]] const Issue* issue(const QModelIndex& index) const;
    /// Every fix id of the listed findings, for "Tick every fix in this list".
    [[nodiscard]] std::vector<std::string> fixIDs() const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    void reload();
    void placeTargetsChanged();
    [[nodiscard]] const Issue& issueAt(int row) const;

    AppModel& m_model;
    IssueCategory m_category = IssueCategory::duplicates;
    std::vector<std::size_t> m_rows; ///< indices into the scan result's findings
};

} // namespace kinloom
