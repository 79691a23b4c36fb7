#include "window/findings/IssueListModel.h"

#include "session/AppModel.h"
#include "session/QtText.h"

namespace kinloom {

namespace {

// A finding's row carries id 0; a preview line carries its finding's row plus one.
constexpr quintptr topLevel = 0;

QVariant optionalText(const std::optional<std::string>& text)
{
    return text ? QVariant(fromUtf8(*text)) : QVariant();
}

} // namespace

IssueListModel::IssueListModel(AppModel& model, QObject* parent) : QAbstractItemModel(parent), m_model(model)
{
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::result)
            reload();
        else if (field == AppModel::Field::selection && !m_rows.empty())
            Q_EMIT dataChanged(index(0, 0), index(int(m_rows.size()) - 1, 0), {Qt::CheckStateRole});
        else if (field == AppModel::Field::placeTargets)
            placeTargetsChanged();
    });
    reload();
}

void IssueListModel::setCategory(IssueCategory category)
{
    if (category == m_category)
        return;
    m_category = category;
    reload();
}

void IssueListModel::reload()
{
    beginResetModel();
    m_rows.clear();
    if (const auto& result = m_model.result()) {
        for (std::size_t i = 0; i < result->issues.size(); ++i) {
            if (result->issues[i].category == m_category)
                m_rows.push_back(i);
        }
    }
    endResetModel();
}

void IssueListModel::placeTargetsChanged()
{
    // A rebuilt place fix has as many preview lines as before (one per other spelling), so only the
    // texts change.
    for (int row = 0; row < int(m_rows.size()); ++row) {
        const Issue& issue = issueAt(row);
        if (!issue.places || !issue.fix)
            continue;
        const QModelIndex finding = index(row, 0);
        Q_EMIT dataChanged(finding, finding);
        if (const int lines = rowCount(finding); lines > 0)
            Q_EMIT dataChanged(index(0, 0, finding), index(lines - 1, 0, finding));
    }
}

const Issue& IssueListModel::issueAt(int row) const
{
    return m_model.result()->issues[m_rows[std::size_t(row)]];
}

const Issue* IssueListModel::issue(const QModelIndex& index) const
{
    if (!index.isValid())
        return nullptr;
    return &issueAt(index.internalId() == topLevel ? index.row() : int(index.internalId() - 1));
}

std::vector<std::string> IssueListModel::fixIDs() const
{
    std::vector<std::string> ids;
    for (int row = 0; row < int(m_rows.size()); ++row) {
        if (const Issue& issue = issueAt(row); issue.fix)
            ids.push_back(issue.fix->id);
    }
    return ids;
}

QModelIndex IssueListModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, parent.isValid() ? quintptr(parent.row()) + 1 : topLevel);
}

QModelIndex IssueListModel::parent(const QModelIndex& child) const
{
    if (!child.isValid() || child.internalId() == topLevel)
        return {};
    return createIndex(int(child.internalId() - 1), 0, topLevel);
}

int IssueListModel::rowCount(const QModelIndex& parent) const
{
    if (!parent.isValid())
        return int(m_rows.size());
    if (parent.internalId() != topLevel || parent.column() != 0)
        return 0;
    const Issue& issue = issueAt(parent.row());
    return issue.fix ? int(issue.fix->preview.size()) : 0;
}

int IssueListModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QVariant IssueListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    if (index.internalId() != topLevel) {
        const Issue& finding = *issue(index);
        const std::optional<Fix> chosen = m_model.chosenPlaceFix(finding);
        const PreviewLine& line = (chosen ? *chosen : *finding.fix).preview[std::size_t(index.row())];
        switch (role) {
        case Qt::DisplayRole:
        case PreviewContextRole:
            return fromUtf8(line.context);
        case PreviewBeforeRole:
            return optionalText(line.before);
        case PreviewAfterRole:
            return optionalText(line.after);
        case Qt::AccessibleTextRole:
            return fromUtf8(line.context) + QStringLiteral(": ") + optionalText(line.before).toString() +
                   QStringLiteral(" → ") + optionalText(line.after).toString();
        default:
            return {};
        }
    }
    const Issue& issue = issueAt(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return fromUtf8(issue.title);
    case Qt::ToolTipRole:
    case DetailRole:
        return fromUtf8(issue.detail);
    case FixTitleRole: {
        if (!issue.fix)
            return {};
        const std::optional<Fix> chosen = m_model.chosenPlaceFix(issue);
        const Fix& fix = chosen ? *chosen : *issue.fix;
        // Fixes that need a look first say so in the row, as the apply sheet does.
        return fromUtf8(fix.title) +
               (fix.needsReview ? QStringLiteral(" (check before applying)") : QString());
    }
    case SeverityRole:
        return int(issue.severity);
    case IssueIndexRole:
        return qulonglong(m_rows[std::size_t(index.row())]);
    case Qt::CheckStateRole:
        if (!issue.fix)
            return {};
        return m_model.selection().contains(issue.fix->id) ? Qt::Checked : Qt::Unchecked;
    case Qt::AccessibleTextRole:
        return fromUtf8(issue.title) + QStringLiteral(". ") + fromUtf8(issue.detail);
    default:
        return {};
    }
}

bool IssueListModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::CheckStateRole || !index.isValid() || index.internalId() != topLevel)
        return false;
    const Issue& issue = issueAt(index.row());
    if (!issue.fix)
        return false;
    // The session's selection changes and its signal refreshes the rows.
    m_model.setSelected(issue.fix->id, value.value<Qt::CheckState>() == Qt::Checked);
    return true;
}

Qt::ItemFlags IssueListModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (rowCount(index) == 0)
        flags |= Qt::ItemNeverHasChildren;
    if (index.internalId() == topLevel && issueAt(index.row()).fix)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

} // namespace kinloom
