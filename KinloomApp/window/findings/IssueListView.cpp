// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/findings/IssueListView.h"

#include "session/AppModel.h"
#include "session/QtText.h"
#include "window/DuplicateCompare.h"
#include "window/HelpView.h"
#include "window/Icons.h"
#include "window/PlacePicker.h"
#include "window/SelectionBar.h"
#include "window/findings/IssueListModel.h"
#include "window/findings/IssueRow.h"
#include "window/findings/SeverityIcon.h"

#include <QAction>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QToolButton>

#include <QHBoxLayout>
#include <QHoverEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QStackedWidget>
#include <QTreeView>

namespace kinloom {

namespace {

QString counted(std::size_t count, const char* singular, const char* plural)
{
    return QLocale().toString(qulonglong(count)) + QLatin1Char(' ') +
           QLatin1String(count == 1 ? singular : plural);
}

/// "Errors", "Warnings", "Notes": what a severity's toggle says.
QString severityPlural(Severity severity)
{
    return fromUtf8(title(severity)) + QLatin1Char('s');
}

QLabel* wrappedLabel(const char* objectName, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(objectName));
    label->setWordWrap(true);
    return label;
}

/// The findings list. A style draws a row's expand arrow slowly and a long list shows many, so the
/// arrow of a plain row (not selected, not under the mouse) is drawn once per state and kept.
class FindingsTree final : public QTreeView
{
public:
    using QTreeView::QTreeView;

    /// The space bar on a group's row: its "Tick all", as the space bar ticks a finding's box.
    std::function<void(const QModelIndex&)> onGroupSpace;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        const QModelIndex current = currentIndex();
        if ((event->key() != Qt::Key_Space && event->key() != Qt::Key_Select) || !current.isValid()) {
            QTreeView::keyPressEvent(event);
            return;
        }
        // The group's button would otherwise take the key and the focus with it.
        if (!current.parent().isValid()) {
            onGroupSpace(current);
            return;
        }
        // On a line of a fix's preview, the space bar ticks the fix, as on the finding's own row.
        if (current.parent().parent().isValid()) {
            const QModelIndex finding = current.parent();
            if (finding.flags() & Qt::ItemIsUserCheckable)
                model()->setData(finding,
                                 finding.data(Qt::CheckStateRole).value<Qt::CheckState>() == Qt::Checked
                                     ? Qt::Unchecked
                                     : Qt::Checked,
                                 Qt::CheckStateRole);
            return;
        }
        QTreeView::keyPressEvent(event);
    }

    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override
    {
        const QColor background = viewport()->palette().color(viewport()->backgroundRole());
        // Groups and findings; a preview line's branches are drawn as they come.
        const QModelIndex parent = index.parent();
        const bool plain = !parent.parent().isValid() && !alternatingRowColors() &&
                           !selectionModel()->isSelected(index) &&
                           (m_mouseY < rect.top() || m_mouseY > rect.bottom());
        if (!plain) {
            QTreeView::drawBranches(painter, rect, index);
            return;
        }
        const Arrow arrow{isExpanded(index),
                          model()->hasChildren(index),
                          index.row() + 1 < model()->rowCount(parent),
                          parent.isValid() && parent.row() + 1 < model()->rowCount(),
                          hasFocus(),
                          isEnabled(),
                          rect.size(),
                          painter->device()->devicePixelRatioF(),
                          background.rgba()};
        auto kept = std::find_if(m_arrows.begin(), m_arrows.end(),
                                 [&](const auto& entry) { return entry.first == arrow; });
        if (kept == m_arrows.end()) {
            if (m_arrows.size() >= 16)
                m_arrows.clear();
            QImage image(rect.size() * arrow.ratio, QImage::Format_RGB32);
            image.setDevicePixelRatio(arrow.ratio);
            image.fill(background);
            QPainter picture(&image);
            picture.translate(-rect.topLeft());
            QTreeView::drawBranches(&picture, rect, index);
            picture.end();
            kept = m_arrows.insert(m_arrows.end(), {arrow, QPixmap::fromImage(std::move(image))});
        }
        painter->drawPixmap(rect.topLeft(), kept->second);
    }

    bool viewportEvent(QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::HoverEnter:
        case QEvent::HoverMove:
            m_mouseY = qRound(static_cast<QHoverEvent*>(event)->position().y());
            break;
        case QEvent::HoverLeave:
        case QEvent::Leave:
            m_mouseY = -1;
            break;
        default:
            break;
        }
        return QTreeView::viewportEvent(event);
    }

    void changeEvent(QEvent* event) override
    {
        if (event->type() == QEvent::StyleChange || event->type() == QEvent::PaletteChange)
            m_arrows.clear();
        QTreeView::changeEvent(event);
    }

private:
    struct Arrow
    {
        bool expanded;
        bool children;
        bool siblingBelow;
        bool parentSiblingBelow;
        bool focused;
        bool enabled;
        QSize size;
        qreal ratio;
        QRgb background;

        bool operator==(const Arrow&) const = default;
    };
    mutable std::vector<std::pair<Arrow, QPixmap>> m_arrows;
    int m_mouseY = -1;
};

} // namespace

QString IssueListView::emptySentence(IssueCategory category)
{
    switch (category) {
    case IssueCategory::duplicates:
        return QStringLiteral("No two people look like the same person.");
    case IssueCategory::impossibleDates:
        return QStringLiteral("Every birth, death and family date is possible.");
    case IssueCategory::dateFormats:
        return QStringLiteral("Every date is written the standard way.");
    case IssueCategory::places:
        return QStringLiteral("Each place is spelled one way.");
    case IssueCategory::missing:
        return QStringLiteral("Everyone has a name, a surname and a sex recorded.");
    case IssueCategory::links:
        return QStringLiteral("Every link between people and families works both ways.");
    case IssueCategory::file:
        return QStringLiteral("The file was read without problems.");
    }
    return {};
}

QString IssueListView::summary(const std::vector<const Issue*>& issues)
{
    std::size_t withFix = 0;
    std::size_t merges = 0;
    std::size_t flagged = 0;
    std::size_t toCheck = 0; // fixes that no bulk tick reaches
    for (const Issue* issue : issues) {
        if (!issue->fix)
            ++flagged;
        else if (issue->category == IssueCategory::duplicates)
            ++merges;
        else
            ++withFix;
        toCheck += issue->fix && issue->fix->needsReview;
    }
    QStringList parts;
    if (withFix > 0)
        parts << counted(withFix, "finding", "findings") + QStringLiteral(" with a suggested fix.");
    if (merges > 0)
        parts << counted(merges, "pair", "pairs") +
                     QStringLiteral(
                         " can be merged. A merge keeps every name, fact and source of both records.");
    if (toCheck > 0)
        parts << (merges == toCheck ? counted(toCheck, "merge needs", "merges need")
                                    : counted(toCheck, "fix needs", "fixes need")) +
                     QStringLiteral(" checking: tick them one by one.");
    if (flagged > 0)
        parts << counted(flagged, "finding", "findings") +
                     QStringLiteral(
                         " without a fix. These are flagged, not changed: check them against your sources.");
    return parts.join(QLatin1Char(' '));
}

IssueListView::IssueListView(AppModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("issueList"));
    // Before the list is rebuilt without a finding just dismissed or brought back, remember where it
    // was, so that the keyboard goes on from the finding after it.
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field != AppModel::Field::dismissed)
            return;
        QModelIndex current = m_tree->currentIndex();
        if (current.parent().parent().isValid())
            current = current.parent();
        if (m_listModel->issue(current))
            m_place = Place{std::string(m_listModel->groupKind(current.parent().row())),
                            current.parent().row(), current.row()};
    });
    m_listModel = new IssueListModel(model, this);

    m_title = new QLabel(this);
    m_title->setObjectName(QStringLiteral("categoryTitle"));
    QFont titleFont = m_title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    m_explanation = wrappedLabel("categoryExplanation", this);

    m_tickAll = new QPushButton(symbolIcon("checklist"), QStringLiteral("Tick every fix in this list"), this);
    m_tickAll->setObjectName(QStringLiteral("tickAllButton"));
    connect(m_tickAll, &QPushButton::clicked, this, [this] {
        std::set<std::string> selection = m_model.selection();
        for (std::string& id : m_listModel->fixIDs())
            selection.insert(std::move(id));
        m_model.setSelection(std::move(selection));
    });

    m_untickAll = new QPushButton(QStringLiteral("Untick All"), this);
    m_untickAll->setObjectName(QStringLiteral("untickAllButton"));
    m_untickAll->setToolTip(QStringLiteral("Clear every ticked fix, in every category"));
    connect(m_untickAll, &QPushButton::clicked, this, [this] { m_model.setSelection({}); });
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::selection)
            m_untickAll->setEnabled(!m_model.selection().empty());
    });
    m_untickAll->setEnabled(false);

    auto* header = new QHBoxLayout;
    header->addWidget(m_title, 1);
    header->addWidget(m_tickAll);
    header->addWidget(m_untickAll);

    m_search = new QLineEdit(this);
    m_search->setObjectName(QStringLiteral("searchField"));
    m_search->setAccessibleName(QStringLiteral("Search the findings"));
    m_search->setPlaceholderText(QStringLiteral("Search names, places, dates, xrefs…"));
    m_search->setClearButtonEnabled(true);
    m_search->addAction(symbolIcon("magnifyingglass"), QLineEdit::LeadingPosition)
        ->setText(QStringLiteral("Search"));
    // The field's own clear button is named for screen readers too.
    if (auto* clear = m_search->findChild<QAction*>(QStringLiteral("_q_qlineeditclearaction")))
        clear->setText(QStringLiteral("Clear the search"));
    m_search->setText(m_model.search());
    connect(m_search, &QLineEdit::textChanged, this,
            [this](const QString& text) { m_model.setSearch(text); });
    auto* clearSearch = new QAction(m_search);
    clearSearch->setShortcut(Qt::Key_Escape);
    clearSearch->setShortcutContext(Qt::WidgetShortcut);
    connect(clearSearch, &QAction::triggered, m_search, &QLineEdit::clear);
    m_search->addAction(clearSearch);
    auto* filters = new QHBoxLayout;
    filters->addWidget(m_search, 1);
    for (Severity severity : {Severity::error, Severity::warning, Severity::info}) {
        auto* button = new QToolButton(this);
        button->setObjectName(QStringLiteral("show") + severityPlural(severity) + QStringLiteral("Button"));
        button->setIcon(SeverityIcon::icon(severity));
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        button->setCheckable(true);
        button->setToolTip(QStringLiteral("Show or hide the ") + severityPlural(severity).toLower());
        connect(button, &QToolButton::toggled, this,
                [this, severity](bool shown) { m_model.setSeverityShown(severity, shown); });
        m_severityButtons[std::size_t(severity)] = button;
        filters->addWidget(button);
    }

    m_note = wrappedLabel("duplicatesNote", this);
    m_note->setText(QStringLiteral("Merges keep every fact; check each pair before applying."));
    m_summary = wrappedLabel("summaryLabel", this);
    m_summary->setForegroundRole(QPalette::PlaceholderText);

    auto* tree = new FindingsTree(this);
    m_tree = tree;
    m_tree->setObjectName(QStringLiteral("issueTree"));
    m_tree->setAccessibleName(QStringLiteral("Findings"));
    m_tree->setModel(m_listModel);
    m_tree->setItemDelegate(new IssueRow(m_tree));
    tree->onGroupSpace = [this](const QModelIndex& group) { tickGroup(group.row()); };
    m_tree->setHeaderHidden(true);
    m_tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tree->setAlternatingRowColors(false);
    // Per item: with rows of two heights, placing a pixel offset would add up every row above it.
    m_tree->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_tree, &QWidget::customContextMenuRequested, this, &IssueListView::showMenu);
    connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &IssueListView::showCurrent);
    connect(m_listModel, &QAbstractItemModel::modelReset, this, &IssueListView::refresh);
    // The groups the user opens stay open when the list is rebuilt by a search or a new scan.
    const auto remember = [this](const QModelIndex& index, bool open) {
        if (m_dressing || index.parent().isValid())
            return;
        const std::string kind(m_listModel->groupKind(index.row()));
        if (open)
            m_openKinds.insert(kind);
        else
            m_openKinds.erase(kind);
    };
    connect(m_tree, &QTreeView::expanded, this,
            [remember](const QModelIndex& index) { remember(index, true); });
    connect(m_tree, &QTreeView::collapsed, this,
            [remember](const QModelIndex& index) { remember(index, false); });
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field != AppModel::Field::search && field != AppModel::Field::shownSeverities)
            return;
        if (m_search->text() != m_model.search())
            m_search->setText(m_model.search());
        // Another selection of findings is read from its top.
        m_tree->scrollToTop();
    });

    auto* empty = new QWidget(this);
    empty->setObjectName(QStringLiteral("emptyCategory"));
    m_nothing = new QLabel(empty);
    m_nothing->setObjectName(QStringLiteral("nothingLabel"));
    QFont nothingFont = m_nothing->font();
    nothingFont.setPointSizeF(nothingFont.pointSizeF() * 1.3);
    nothingFont.setBold(true);
    m_nothing->setFont(nothingFont);
    m_nothing->setAlignment(Qt::AlignHCenter);
    m_emptySentence = wrappedLabel("emptySentence", empty);
    m_emptySentence->setAlignment(Qt::AlignHCenter);
    auto* emptyLayout = new QVBoxLayout(empty);
    emptyLayout->addStretch(1);
    emptyLayout->addWidget(m_nothing);
    emptyLayout->addWidget(m_emptySentence);
    emptyLayout->addStretch(2);

    m_compare = new DuplicateCompare(model, this);
    m_places = new PlacePicker(model, this);
    m_details = new QWidget(this);
    m_details->setObjectName(QStringLiteral("findingDetails"));
    auto* detailsLayout = new QVBoxLayout(m_details);
    detailsLayout->addWidget(m_compare);
    detailsLayout->addWidget(m_places);
    // The details sit at the top of their pane, however tall the user makes it.
    detailsLayout->addStretch(1);
    auto* detailsScroll = new QScrollArea(this);
    detailsScroll->setWidget(m_details);
    detailsScroll->setWidgetResizable(true);
    detailsScroll->setFrameShape(QFrame::NoFrame);
    // Tab goes straight to the controls inside, and the pane scrolls to show each.
    detailsScroll->setFocusPolicy(Qt::NoFocus);
    m_detailsArea = detailsScroll;

    auto* listSplitter = new QSplitter(Qt::Vertical, this);
    listSplitter->setObjectName(QStringLiteral("listSplitter"));
    listSplitter->addWidget(m_tree);
    listSplitter->addWidget(detailsScroll);
    listSplitter->setStretchFactor(0, 3);
    listSplitter->setStretchFactor(1, 2);
    listSplitter->setSizes({360, 240});
    listSplitter->setChildrenCollapsible(false);

    m_stack = new QStackedWidget(this);
    m_stack->addWidget(listSplitter);
    m_stack->addWidget(empty);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(m_explanation);
    layout->addLayout(filters);
    layout->addWidget(m_note);
    layout->addWidget(m_summary);
    layout->addWidget(m_stack, 1);
    // Rows elide long details; the current finding's is shown whole under the list.
    m_fullDetail = wrappedLabel("findingDetail", this);
    m_fullDetail->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    layout->addWidget(m_fullDetail);
    setTabOrder(m_tickAll, m_untickAll);
    setTabOrder(m_untickAll, m_search);
    setTabOrder(m_search, m_severityButtons[std::size_t(Severity::error)]);
    setTabOrder(m_severityButtons[std::size_t(Severity::error)],
                m_severityButtons[std::size_t(Severity::warning)]);
    setTabOrder(m_severityButtons[std::size_t(Severity::warning)],
                m_severityButtons[std::size_t(Severity::info)]);
    setTabOrder(m_severityButtons[std::size_t(Severity::info)], m_tree);
    refresh();
}

void IssueListView::showMenu(const QPoint& position)
{
    QModelIndex index = m_tree->indexAt(position);
    if (!index.isValid())
        index = m_tree->currentIndex();
    const Issue* issue = m_listModel->issue(index);
    if (!issue || m_model.busy())
        return;
    m_tree->setCurrentIndex(index);
    const auto at = std::size_t(issue - m_model.result()->issues.data());
    auto* menu = new QMenu(m_tree);
    menu->setObjectName(QStringLiteral("findingMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QAction* decide = menu->addAction(SelectionBar::decisionText(*issue, m_model.isDismissed(at)));
    decide->setObjectName(QStringLiteral("decideMenuAction"));
    decide->setShortcut(SelectionBar::decisionShortcut());
    decide->setShortcutContext(Qt::WidgetShortcut);
    connect(decide, &QAction::triggered, this, [this, at] {
        if (m_model.isDismissed(at))
            m_model.bringBack(at);
        else
            m_model.dismiss(at);
    });
    menu->popup(m_tree->viewport()->mapToGlobal(m_tree->visualRect(index).center()));
}

void IssueListView::focusSearch()
{
    m_search->setFocus(Qt::ShortcutFocusReason);
    m_search->selectAll();
}

void IssueListView::tickGroup(int group)
{
    std::set<std::string> selection = m_model.selection();
    for (std::string& id : m_listModel->groupFixIDs(group))
        selection.insert(std::move(id));
    m_model.setSelection(std::move(selection));
}

void IssueListView::dressGroups()
{
    m_dressing = true;
    const int groups = m_listModel->rowCount();
    // A lone group, a short list or the findings a search kept are shown at once; a long list
    // shows its groups first.
    const bool openAll = groups == 1 || m_listModel->listedCount() <= 40 || !m_model.search().isEmpty();
    for (int group = 0; group < groups; ++group) {
        const QModelIndex index = m_listModel->index(group, 0);
        if (openAll || m_openKinds.contains(m_listModel->groupKind(group)))
            m_tree->expand(index);
        const std::size_t fixes = m_listModel->groupFixCount(group);
        if (fixes == 0)
            continue;
        auto* button =
            new QPushButton(fixes == 1 ? QStringLiteral("Tick 1 fix")
                                       : QStringLiteral("Tick all ") + counted(fixes, "fix", "fixes"));
        button->setObjectName(QStringLiteral("tickGroupButton"));
        button->setAccessibleName(button->text() + QStringLiteral(": ") + index.data().toString());
        button->setToolTip(QStringLiteral("Ticks the fixes of this group that need no check first"));
        // The space bar on the group's row does the same, so Tab leaves the list rather than
        // stopping at each group's button.
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QPushButton::clicked, this, [this, group] { tickGroup(group); });
        m_tree->setIndexWidget(index, button);
    }
    m_dressing = false;
}

void IssueListView::showFilters()
{
    for (Severity severity : allSeverities) {
        QToolButton* button = m_severityButtons[std::size_t(severity)];
        const QSignalBlocker blocker(button);
        button->setChecked(m_model.isSeverityShown(severity));
        button->setText(severityPlural(severity) + QStringLiteral(" (") +
                        QLocale().toString(qulonglong(m_listModel->matchingCount(severity))) +
                        QLatin1Char(')'));
    }
}

void IssueListView::setCategory(IssueCategory category)
{
    if (category == m_listModel->category())
        return;
    m_openKinds.clear();
    // The list is rebuilt, and the view refreshes with it.
    m_listModel->setCategory(category);
}

IssueCategory IssueListView::category() const
{
    return m_listModel->category();
}

void IssueListView::refresh()
{
    const IssueCategory category = m_listModel->category();
    const bool dismissedList = m_model.showDismissed();
    m_title->setText(fromUtf8(kinloom::title(category)) +
                     (dismissedList ? QStringLiteral(": dismissed") : QString()));
    m_explanation->setText(HelpView::categoryLine(category));
    m_note->setVisible(category == IssueCategory::duplicates);

    std::vector<const Issue*> issues;
    issues.reserve(m_listModel->listedCount());
    for (int group = 0; group < m_listModel->rowCount(); ++group) {
        const QModelIndex parent = m_listModel->index(group, 0);
        for (int row = 0; row < m_listModel->rowCount(parent); ++row)
            issues.push_back(m_listModel->issue(m_listModel->index(row, 0, parent)));
    }
    const std::size_t all = m_listModel->categoryCount();
    // A filtered list says how much of the category it shows, and an emptied one why it is empty.
    QString shown;
    if (issues.size() < all)
        shown = QStringLiteral("Showing ") + QLocale().toString(qulonglong(issues.size())) +
                QStringLiteral(" of ") + counted(all, "finding", "findings") + QStringLiteral(". ");
    const std::size_t others = m_listModel->otherCount();
    if (dismissedList)
        shown += counted(issues.size(), "finding", "findings") +
                 QStringLiteral(" marked Not a Problem. Each stays out of the list until one of its "
                                "records changes; Bring Back returns it now.");
    else
        shown += summary(issues) +
                 (others == 0
                      ? QString()
                      : QLatin1Char(' ') + counted(others, "dismissed finding is", "dismissed findings are") +
                            QStringLiteral(" not listed."));
    m_summary->setText(shown);
    m_summary->setVisible(!issues.empty());
    m_tickAll->setEnabled(m_listModel->hasQuickFixes());
    m_tickAll->setVisible(!issues.empty() && !dismissedList);
    m_untickAll->setVisible(!issues.empty() && !dismissedList);
    m_untickAll->setEnabled(!m_model.selection().empty());
    m_stack->setCurrentIndex(issues.empty() ? 1 : 0);
    if (all == 0 && dismissedList) {
        m_nothing->setText(QStringLiteral("Nothing dismissed here"));
        m_emptySentence->setText(QStringLiteral(
            "Findings marked Not a Problem are listed here, to bring back if you change your mind."));
    } else if (all == 0 && others > 0) {
        m_nothing->setText(QStringLiteral("Nothing to fix here"));
        m_emptySentence->setText(others == 1
                                     ? QStringLiteral("The one finding here was dismissed; Show "
                                                      "Dismissed lists it.")
                                     : QStringLiteral("The ") + counted(others, "finding", "findings") +
                                           QStringLiteral(" here were all dismissed; Show Dismissed "
                                                          "lists them."));
    } else if (all == 0) {
        m_nothing->setText(QStringLiteral("Nothing to fix here"));
        m_emptySentence->setText(emptySentence(category));
    } else if (issues.empty()) {
        m_nothing->setText(QStringLiteral("No findings shown"));
        const bool hidden =
            std::any_of(allSeverities.begin(), allSeverities.end(),
                        [this](Severity severity) { return !m_model.isSeverityShown(severity); });
        QString sentence = m_model.search().isEmpty()
                               ? QStringLiteral("The ") + counted(all, "finding", "findings") +
                                     QStringLiteral(" here are all hidden.")
                               : QStringLiteral("None of the ") + counted(all, "finding", "findings") +
                                     QStringLiteral(" here contain “") + m_model.search().trimmed() +
                                     QStringLiteral("”.");
        if (hidden)
            sentence += QStringLiteral(" Errors, Warnings and Notes above show what is hidden.");
        m_emptySentence->setText(sentence);
    }
    showFilters();
    dressGroups();
    keepPlace();
    showCurrent();
}

void IssueListView::keepPlace()
{
    const std::optional<Place> place = std::exchange(m_place, std::nullopt);
    const int groups = m_listModel->rowCount();
    if (!place || groups == 0)
        return;
    // The same group at the same row, or when the group went with it, the start of the one after.
    int group = 0;
    while (group < groups && m_listModel->groupKind(group) != place->kind)
        ++group;
    const bool sameGroup = group < groups;
    if (!sameGroup)
        group = std::min(place->group, groups - 1);
    const QModelIndex parent = m_listModel->index(group, 0);
    m_tree->expand(parent);
    m_tree->setCurrentIndex(m_listModel->index(
        sameGroup ? std::min(place->row, m_listModel->rowCount(parent) - 1) : 0, 0, parent));
}

void IssueListView::showCurrent()
{
    const Issue* issue = m_listModel->issue(m_tree->currentIndex());
    m_compare->setMatch(issue ? issue->match : std::nullopt);
    m_places->setIssue(issue);
    m_fullDetail->setText(issue ? fromUtf8(issue->detail) : QString());
    m_fullDetail->setVisible(issue != nullptr);
    m_model.setCurrentFinding(issue ? std::optional(std::size_t(issue - m_model.result()->issues.data()))
                                    : std::nullopt);
    m_detailsArea->setVisible(issue && (issue->match || issue->places));
}

} // namespace kinloom
