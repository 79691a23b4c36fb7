// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/findings/IssueListModel.h"

#include "session/AppModel.h"
#include "session/QtText.h"

#include <algorithm>
#include <unordered_map>

namespace kinloom {

namespace {

// A group's row carries id 0, a finding's its group's row plus one, and a preview line this bit
// with its finding's position among all the listed findings.
constexpr quintptr groupLevel = 0;
constexpr quintptr previewBit = quintptr(1) << (sizeof(quintptr) * 8 - 1);

QVariant optionalText(const std::optional<std::string>& text)
{
    return text ? QVariant(fromUtf8(*text)) : QVariant();
}

/// The index of the kind of finding this id belongs to; the number of kinds when it is of none.
std::uint8_t kindIndex(std::string_view issueID)
{
    static const std::unordered_map<std::string_view, std::uint8_t> indexes = [] {
        std::unordered_map<std::string_view, std::uint8_t> byID;
        for (const FindingKind& kind : allFindingKinds())
            byID.emplace(kind.id, std::uint8_t(byID.size()));
        return byID;
    }();
    const auto found = indexes.find(kindOf(issueID));
    return found == indexes.end() ? std::uint8_t(allFindingKinds().size()) : found->second;
}

} // namespace

IssueListModel::IssueListModel(AppModel& model, QObject* parent) : QAbstractItemModel(parent), m_model(model)
{
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        switch (field) {
        case AppModel::Field::result:
            kindsChanged();
            reload();
            break;
        case AppModel::Field::search:
        case AppModel::Field::shownSeverities:
        case AppModel::Field::dismissed:
        case AppModel::Field::showDismissed:
            reload();
            break;
        case AppModel::Field::selection:
            refreshRows({Qt::CheckStateRole});
            break;
        case AppModel::Field::placeTargets:
            placeLinesChanged();
            refreshRows({});
            break;
        default:
            break;
        }
    });
    kindsChanged();
    reload();
}

void IssueListModel::setCategory(IssueCategory category)
{
    if (category == m_category)
        return;
    m_category = category;
    reload();
}

void IssueListModel::kindsChanged()
{
    // Worked out once per scan, so that a search keystroke only sorts findings into their groups.
    m_kinds.clear();
    if (const auto& result = m_model.result()) {
        m_kinds.reserve(result->issues.size());
        for (const Issue& issue : result->issues)
            m_kinds.push_back(kindIndex(issue.id));
    }
}

void IssueListModel::reload()
{
    beginResetModel();
    m_groups.clear();
    m_rows.clear();
    m_lines.clear();
    m_categoryCount = 0;
    m_otherCount = 0;
    m_hasFixes = false;
    m_matching = {};
    if (const auto& result = m_model.result()) {
        const std::size_t kinds = allFindingKinds().size();
        // Per kind, the listed findings in the order found.
        std::vector<std::vector<std::size_t>> byKind(kinds + 1);
        for (std::size_t i = 0; i < result->issues.size(); ++i) {
            const Issue& issue = result->issues[i];
            if (issue.category != m_category)
                continue;
            if (m_model.isDismissed(i) != m_model.showDismissed()) {
                ++m_otherCount;
                continue;
            }
            ++m_categoryCount;
            if (!m_model.matchesSearch(i))
                continue;
            ++m_matching[std::size_t(issue.severity)];
            if (m_model.isSeverityShown(issue.severity))
                byKind[m_kinds[i]].push_back(i);
        }
        // Dismissed findings are listed to be brought back; their fixes are not offered.
        const bool offerFixes = !m_model.showDismissed();
        for (std::size_t kind = 0; kind <= kinds; ++kind) {
            const std::vector<std::size_t>& findings = byKind[kind];
            if (findings.empty())
                continue;
            Group group{kind, Severity::info, {}, 0, 0};
            const std::string& first = result->issues[findings.front()].title;
            bool oneTitle = true;
            for (std::size_t i : findings) {
                const Issue& issue = result->issues[i];
                group.severity = std::max(group.severity, issue.severity);
                oneTitle = oneTitle && issue.title == first;
                m_hasFixes = m_hasFixes || (offerFixes && issue.fix);
                group.quickFixes += offerFixes && issue.fix && !issue.fix->needsReview;
            }
            // Findings that all say the same say it best; otherwise their kind's general words.
            group.title =
                fromUtf8(oneTitle || kind == kinds ? std::string_view(first) : allFindingKinds()[kind].title);
            m_groups.push_back(std::move(group));
        }
        std::stable_sort(m_groups.begin(), m_groups.end(),
                         [](const Group& a, const Group& b) { return a.severity > b.severity; });
        for (Group& group : m_groups) {
            group.begin = m_rows.size();
            m_rows.insert(m_rows.end(), byKind[group.kind].begin(), byKind[group.kind].end());
            group.end = m_rows.size();
        }
        for (const std::size_t i : m_rows)
            m_lines.push_back(shownLines(result->issues[i]));
    }
    endResetModel();
}

int IssueListModel::shownLines(const Issue& issue) const
{
    if (!issue.fix)
        return 0;
    const std::optional<Fix> chosen = m_model.chosenPlaceFix(issue);
    return int((chosen ? *chosen : *issue.fix).preview.size());
}

void IssueListModel::placeLinesChanged()
{
    // A place fix rebuilt for another spelling may rewrite more or fewer spellings.
    for (int group = 0; group < int(m_groups.size()); ++group) {
        const QModelIndex parent = index(group, 0);
        for (int row = 0; row < rowCount(parent); ++row) {
            const QModelIndex finding = index(row, 0, parent);
            const std::size_t position = positionOf(finding);
            const Issue& issue = issueAt(position);
            if (!issue.places)
                continue;
            const int was = m_lines[position], now = shownLines(issue);
            if (now < was) {
                beginRemoveRows(finding, now, was - 1);
                m_lines[position] = now;
                endRemoveRows();
            } else if (now > was) {
                beginInsertRows(finding, was, now - 1);
                m_lines[position] = now;
                endInsertRows();
            }
        }
    }
}

void IssueListModel::refreshRows(const QList<int>& roles)
{
    for (int group = 0; group < int(m_groups.size()); ++group) {
        const QModelIndex parent = index(group, 0);
        Q_EMIT dataChanged(parent, parent, roles);
        Q_EMIT dataChanged(index(0, 0, parent), index(rowCount(parent) - 1, 0, parent), roles);
        if (!roles.isEmpty())
            continue;
        for (int row = 0; row < rowCount(parent); ++row) {
            const QModelIndex finding = index(row, 0, parent);
            if (const int lines = rowCount(finding); lines > 0 && issue(finding)->places)
                Q_EMIT dataChanged(index(0, 0, finding), index(lines - 1, 0, finding));
        }
    }
}

const Issue& IssueListModel::issueAt(std::size_t position) const
{
    return m_model.result()->issues[m_rows[position]];
}

std::size_t IssueListModel::positionOf(const QModelIndex& finding) const
{
    return m_groups[finding.internalId() - 1].begin + std::size_t(finding.row());
}

const Issue* IssueListModel::issue(const QModelIndex& index) const
{
    if (!index.isValid() || index.internalId() == groupLevel)
        return nullptr;
    if (index.internalId() & previewBit)
        return &issueAt(index.internalId() & ~previewBit);
    return &issueAt(positionOf(index));
}

std::vector<std::string> IssueListModel::fixIDs() const
{
    std::vector<std::string> ids;
    if (!m_hasFixes)
        return ids;
    for (std::size_t position = 0; position < m_rows.size(); ++position) {
        if (const Issue& issue = issueAt(position); issue.fix && !issue.fix->needsReview)
            ids.push_back(issue.fix->id);
    }
    return ids;
}

std::vector<std::string> IssueListModel::groupFixIDs(int group) const
{
    std::vector<std::string> ids;
    if (!m_hasFixes)
        return ids;
    for (std::size_t position = m_groups[std::size_t(group)].begin;
         position < m_groups[std::size_t(group)].end; ++position) {
        if (const Issue& issue = issueAt(position); issue.fix && !issue.fix->needsReview)
            ids.push_back(issue.fix->id);
    }
    return ids;
}

std::string_view IssueListModel::groupKind(int group) const
{
    const std::size_t kind = m_groups[std::size_t(group)].kind;
    return kind < allFindingKinds().size() ? allFindingKinds()[kind].id : std::string_view();
}

QModelIndex IssueListModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    if (!parent.isValid())
        return createIndex(row, column, groupLevel);
    if (parent.internalId() == groupLevel)
        return createIndex(row, column, quintptr(parent.row()) + 1);
    return createIndex(row, column, previewBit | positionOf(parent));
}

QModelIndex IssueListModel::parent(const QModelIndex& child) const
{
    if (!child.isValid() || child.internalId() == groupLevel)
        return {};
    if (!(child.internalId() & previewBit))
        return createIndex(int(child.internalId() - 1), 0, groupLevel);
    const std::size_t position = child.internalId() & ~previewBit;
    const auto group = std::upper_bound(m_groups.begin(), m_groups.end(), position,
                                        [](std::size_t at, const Group& g) { return at < g.end; });
    return createIndex(int(position - group->begin), 0, quintptr(group - m_groups.begin()) + 1);
}

int IssueListModel::rowCount(const QModelIndex& parent) const
{
    if (!parent.isValid())
        return int(m_groups.size());
    if (parent.column() != 0 || parent.internalId() & previewBit)
        return 0;
    if (parent.internalId() == groupLevel) {
        const Group& group = m_groups[std::size_t(parent.row())];
        return int(group.end - group.begin);
    }
    return m_lines[positionOf(parent)];
}

int IssueListModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QVariant IssueListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    if (index.internalId() == groupLevel) {
        const Group& group = m_groups[std::size_t(index.row())];
        const std::size_t count = group.end - group.begin;
        switch (role) {
        case Qt::DisplayRole:
            return group.title;
        case SeverityRole:
            return int(group.severity);
        case RowTypeRole:
            return int(RowType::group);
        case GroupCountRole:
            return qulonglong(count);
        case Qt::AccessibleTextRole:
            return group.title + QStringLiteral(", ") + QString::number(count) +
                   (count == 1 ? QStringLiteral(" finding") : QStringLiteral(" findings"));
        default:
            return {};
        }
    }
    if (index.internalId() & previewBit) {
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
        case RowTypeRole:
            return int(RowType::previewLine);
        case Qt::AccessibleTextRole:
            return fromUtf8(line.context) + QStringLiteral(": ") + optionalText(line.before).toString() +
                   QStringLiteral(" → ") + optionalText(line.after).toString();
        default:
            return {};
        }
    }
    const std::size_t position = positionOf(index);
    const Issue& issue = issueAt(position);
    switch (role) {
    case Qt::DisplayRole:
        return fromUtf8(issue.title);
    case DetailRole:
        return fromUtf8(issue.detail);
    case FixTitleRole:
    case FixNeedsReviewRole: {
        if (!issue.fix)
            return role == FixTitleRole ? QVariant() : QVariant(false);
        const std::optional<Fix> chosen = m_model.chosenPlaceFix(issue);
        const Fix& fix = chosen ? *chosen : *issue.fix;
        if (role == FixNeedsReviewRole)
            return fix.needsReview;
        // Fixes that need a look first say so in the row, as the apply sheet does.
        return fromUtf8(fix.title) +
               (fix.needsReview ? QStringLiteral(" (check before applying)") : QString());
    }
    case SeverityRole:
        return int(issue.severity);
    case IssueIndexRole:
        return qulonglong(m_rows[position]);
    case RowTypeRole:
        return int(RowType::finding);
    case Qt::CheckStateRole:
        if (!issue.fix || m_model.showDismissed())
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
    const Issue* finding = issue(index);
    if (role != Qt::CheckStateRole || !finding || index.internalId() & previewBit || !finding->fix ||
        m_model.showDismissed())
        return false;
    // The session's selection changes and its signal refreshes the rows.
    m_model.setSelected(finding->fix->id, value.value<Qt::CheckState>() == Qt::Checked);
    return true;
}

Qt::ItemFlags IssueListModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (rowCount(index) == 0)
        flags |= Qt::ItemNeverHasChildren;
    if (index.internalId() != groupLevel && !(index.internalId() & previewBit) &&
        issueAt(positionOf(index)).fix && !m_model.showDismissed())
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

} // namespace kinloom
