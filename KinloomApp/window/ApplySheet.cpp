// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/ApplySheet.h"

#include "session/AppModel.h"
#include "session/QtText.h"
#include "window/Icons.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QSettings>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <map>

namespace kinloom {

namespace {

const QString sizeKey = QStringLiteral("applySheet/size");
constexpr int fixIDRole = Qt::UserRole;

} // namespace

QString ApplySheet::applyTitle(std::size_t count)
{
    return QStringLiteral("Apply ") + QString::number(count) +
           (count == 1 ? QStringLiteral(" Change") : QStringLiteral(" Changes"));
}

ApplySheet::ApplySheet(AppModel& model, QWidget* parent) : QDialog(parent), m_model(model)
{
    setObjectName(QStringLiteral("applySheet"));
    setWindowTitle(QStringLiteral("Review & Apply"));
    setWindowModality(Qt::WindowModal);
    setSizeGripEnabled(true);
    setMinimumSize(420, 300);

    auto* heading = new QLabel(QStringLiteral("These fixes will be applied:"), this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    m_note = new QLabel(this);
    m_note->setObjectName(QStringLiteral("applyReviewNote"));
    m_note->setWordWrap(true);
    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("applyList"));
    m_list->setAccessibleName(QStringLiteral("Fixes to apply"));
    m_list->setHeaderHidden(true);
    m_list->setColumnCount(1);
    m_list->setWordWrap(true);
    m_list->header()->setStretchLastSection(true);
    m_list->setTextElideMode(Qt::ElideNone);
    connect(m_list, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item) {
        if (!m_showing)
            lineChanged(item);
    });
    auto* note =
        new QLabel(QStringLiteral("Your original file isn’t touched. You can undo, and nothing is written "
                                  "until you choose Save Cleaned Copy."),
                   this);
    note->setObjectName(QStringLiteral("applyNote"));
    note->setWordWrap(true);

    auto* buttons = new QDialogButtonBox(this);
    auto* cancel = buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("applyCancelButton"));
    m_apply = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    m_apply->setObjectName(QStringLiteral("applyButton"));
    m_apply->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        m_model.applySelection();
        accept();
    });
    connect(this, &QDialog::finished, this, [this] { m_model.setShowApply(false); });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading);
    layout->addWidget(m_note);
    layout->addWidget(m_list, 1);
    layout->addWidget(note);
    layout->addWidget(buttons);
    resize(QSettings().value(sizeKey, QSize(720, 520)).toSize());

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::showApply) {
            if (m_model.showApply() && !isVisible()) {
                rebuild();
                open();
                m_list->setFocus();
            } else if (!m_model.showApply() && isVisible()) {
                reject();
            }
        } else if (isVisible() && field == AppModel::Field::selection) {
            showTicks();
        } else if (isVisible() && field == AppModel::Field::placeTargets) {
            rebuild();
        }
    });
}

void ApplySheet::done(int result)
{
    QSettings().setValue(sizeKey, size());
    QDialog::done(result);
    // Not every desktop hands the keyboard back to the window under a sheet that closes.
    if (parentWidget())
        parentWidget()->activateWindow();
}

void ApplySheet::rebuild()
{
    const QSignalBlocker blocker(m_list);
    m_list->clear();
    if (!m_model.result())
        return;
    // Grouped in the order the kinds of finding are listed in the window.
    std::map<std::size_t, std::vector<const Issue*>> byKind;
    const std::span<const FindingKind> kinds = allFindingKinds();
    for (const Issue& issue : m_model.result()->issues) {
        if (!issue.fix || !m_model.selection().contains(issue.fix->id))
            continue;
        const std::string_view kind = kindOf(issue.id);
        const auto found = std::find_if(kinds.begin(), kinds.end(),
                                        [&](const FindingKind& each) { return each.id == kind; });
        byKind[std::size_t(found - kinds.begin())].push_back(&issue);
    }
    const QIcon checkIcon = symbolIcon("exclamationmark.triangle.fill");
    // The other lines keep the mark's room, so that every line's text starts at one edge.
    QPixmap blank(m_list->iconSize().isValid() ? m_list->iconSize() : QSize(16, 16));
    blank.fill(Qt::transparent);
    const QIcon noMark(blank);
    std::size_t toCheck = 0;
    for (const auto& [index, issues] : byKind) {
        auto* group = new QTreeWidgetItem(m_list);
        QString title = index < kinds.size() ? fromUtf8(kinds[index].title) : QStringLiteral("Other fixes");
        group->setText(0, title + QStringLiteral("  ·  ") + QString::number(issues.size()));
        group->setData(0, Qt::AccessibleTextRole, title);
        QFont bold = group->font(0);
        bold.setBold(true);
        group->setFont(0, bold);
        group->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        const QStringList where = m_model.recordsTexts(issues);
        for (std::size_t i = 0; i < issues.size(); ++i) {
            const Issue& issue = *issues[i];
            const std::optional<Fix> chosen = m_model.chosenPlaceFix(issue);
            const Fix& fix = chosen ? *chosen : *issue.fix;
            auto* line = new QTreeWidgetItem(group);
            line->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
            line->setData(0, fixIDRole, QString::fromStdString(fix.id));
            QString text = fromUtf8(fix.title);
            line->setIcon(0, fix.needsReview ? checkIcon : noMark);
            if (fix.needsReview) {
                text += QStringLiteral(" (check before applying)");
                ++toCheck;
            }
            line->setText(0, text + u'\n' + where[qsizetype(i)]);
            line->setToolTip(0, fromUtf8(issue.detail));
        }
    }
    m_list->expandAll();
    m_note->setText(
        QStringLiteral("Untick a line, or a whole kind, to leave it out. ") +
        (toCheck == 0 ? QString()
         : toCheck == 1
             ? QStringLiteral("One fix is marked to check before applying: it may change what a record says.")
             : QString::number(toCheck) +
                   QStringLiteral(
                       " fixes are marked to check before applying: they may change what a record says.")));
    if (QTreeWidgetItem* first = m_list->topLevelItem(0))
        m_list->setCurrentItem(first->childCount() > 0 ? first->child(0) : first);
    showTicks();
}

void ApplySheet::showTicks()
{
    m_showing = true;
    const std::set<std::string>& selection = m_model.selection();
    std::set<std::string> ticked;
    for (int g = 0; g < m_list->topLevelItemCount(); ++g) {
        QTreeWidgetItem* group = m_list->topLevelItem(g);
        int on = 0;
        for (int i = 0; i < group->childCount(); ++i) {
            QTreeWidgetItem* line = group->child(i);
            const std::string id = line->data(0, fixIDRole).toString().toStdString();
            const bool selected = selection.contains(id);
            line->setCheckState(0, selected ? Qt::Checked : Qt::Unchecked);
            if (selected) {
                ++on;
                ticked.insert(id);
            }
        }
        group->setCheckState(0, on == 0                     ? Qt::Unchecked
                                : on == group->childCount() ? Qt::Checked
                                                            : Qt::PartiallyChecked);
    }
    m_showing = false;
    m_apply->setText(applyTitle(ticked.size()));
    m_apply->setEnabled(!ticked.empty() && !m_model.busy());
}

void ApplySheet::lineChanged(QTreeWidgetItem* item)
{
    const bool ticked = item->checkState(0) == Qt::Checked;
    std::set<std::string> selection = m_model.selection();
    // A group's box ticks or unticks all its lines at once.
    const auto take = [&](QTreeWidgetItem* line) {
        const std::string id = line->data(0, fixIDRole).toString().toStdString();
        if (ticked)
            selection.insert(id);
        else
            selection.erase(id);
    };
    if (item->parent()) {
        take(item);
    } else {
        for (int i = 0; i < item->childCount(); ++i)
            take(item->child(i));
    }
    m_model.setSelection(std::move(selection));
}

} // namespace kinloom
