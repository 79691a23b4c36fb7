#include "window/findings/IssueListView.h"

#include "session/AppModel.h"
#include "window/DuplicateCompare.h"
#include "window/Icons.h"
#include "window/findings/IssueListModel.h"
#include "window/findings/IssueRow.h"
#include "window/PlacePicker.h"
#include "session/QtText.h"

#include <QHBoxLayout>
#include <QHoverEvent>
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
    return QString::number(count) + QLatin1Char(' ') + QLatin1String(count == 1 ? singular : plural);
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

protected:
    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override
    {
        const QColor background = viewport()->palette().color(viewport()->backgroundRole());
        const bool plain = !index.parent().isValid() && !alternatingRowColors() &&
                           !selectionModel()->isSelected(index) &&
                           (m_mouseY < rect.top() || m_mouseY > rect.bottom());
        if (!plain) {
            QTreeView::drawBranches(painter, rect, index);
            return;
        }
        const Arrow arrow{isExpanded(index),
                          model()->hasChildren(index),
                          index.row() + 1 < model()->rowCount(index.parent()),
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
    for (const Issue* issue : issues) {
        if (!issue->fix)
            ++flagged;
        else if (issue->category == IssueCategory::duplicates)
            ++merges;
        else
            ++withFix;
    }
    QStringList parts;
    if (withFix > 0)
        parts << counted(withFix, "finding", "findings") + QStringLiteral(" with a suggested fix.");
    if (merges > 0)
        parts << counted(merges, "pair", "pairs") +
                     QStringLiteral(
                         " can be merged. A merge keeps every name, fact and source of both records.");
    if (flagged > 0)
        parts << counted(flagged, "finding", "findings") +
                     QStringLiteral(
                         " without a fix. These are flagged, not changed: check them against your sources.");
    return parts.join(QLatin1Char(' '));
}

IssueListView::IssueListView(AppModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("issueList"));
    m_listModel = new IssueListModel(model, this);

    m_title = new QLabel(this);
    m_title->setObjectName(QStringLiteral("categoryTitle"));
    QFont titleFont = m_title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    titleFont.setBold(true);
    m_title->setFont(titleFont);

    m_tickAll = new QPushButton(symbolIcon("checklist"), QStringLiteral("Tick every fix in this list"), this);
    m_tickAll->setObjectName(QStringLiteral("tickAllButton"));
    connect(m_tickAll, &QPushButton::clicked, this, [this] {
        std::set<std::string> selection = m_model.selection();
        for (std::string& id : m_listModel->fixIDs())
            selection.insert(std::move(id));
        m_model.setSelection(std::move(selection));
    });

    auto* header = new QHBoxLayout;
    header->addWidget(m_title, 1);
    header->addWidget(m_tickAll);

    m_note = wrappedLabel("duplicatesNote", this);
    m_note->setText(QStringLiteral("Merges keep every fact; check each pair before applying."));
    m_summary = wrappedLabel("summaryLabel", this);
    m_summary->setForegroundRole(QPalette::PlaceholderText);

    m_tree = new FindingsTree(this);
    m_tree->setObjectName(QStringLiteral("issueTree"));
    m_tree->setAccessibleName(QStringLiteral("Findings"));
    m_tree->setModel(m_listModel);
    m_tree->setItemDelegate(new IssueRow(m_tree));
    m_tree->setHeaderHidden(true);
    m_tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tree->setAlternatingRowColors(false);
    // Per item: with rows of two heights, placing a pixel offset would add up every row above it.
    m_tree->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &IssueListView::showCurrent);
    connect(m_listModel, &QAbstractItemModel::modelReset, this, &IssueListView::refresh);

    auto* empty = new QWidget(this);
    empty->setObjectName(QStringLiteral("emptyCategory"));
    auto* nothing = new QLabel(QStringLiteral("Nothing to fix here"), empty);
    nothing->setObjectName(QStringLiteral("nothingLabel"));
    QFont nothingFont = nothing->font();
    nothingFont.setPointSizeF(nothingFont.pointSizeF() * 1.3);
    nothingFont.setBold(true);
    nothing->setFont(nothingFont);
    nothing->setAlignment(Qt::AlignHCenter);
    m_emptySentence = wrappedLabel("emptySentence", empty);
    m_emptySentence->setAlignment(Qt::AlignHCenter);
    auto* emptyLayout = new QVBoxLayout(empty);
    emptyLayout->addStretch(1);
    emptyLayout->addWidget(nothing);
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
    layout->addWidget(m_note);
    layout->addWidget(m_summary);
    layout->addWidget(m_stack, 1);
    // Rows elide long details; the current finding's is shown whole under the list.
    m_fullDetail = wrappedLabel("findingDetail", this);
    m_fullDetail->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    layout->addWidget(m_fullDetail);
    setTabOrder(m_tickAll, m_tree);
    refresh();
}

void IssueListView::setCategory(IssueCategory category)
{
    m_listModel->setCategory(category);
    refresh();
}

IssueCategory IssueListView::category() const
{
    return m_listModel->category();
}

void IssueListView::refresh()
{
    const IssueCategory category = m_listModel->category();
    const std::string_view title = kinloom::title(category);
    m_title->setText(fromUtf8(title));
    m_note->setVisible(category == IssueCategory::duplicates);
    m_emptySentence->setText(emptySentence(category));

    std::vector<const Issue*> issues;
    for (int row = 0; row < m_listModel->rowCount(); ++row)
        issues.push_back(m_listModel->issue(m_listModel->index(row, 0)));
    m_summary->setText(summary(issues));
    m_summary->setVisible(!issues.empty());
    m_tickAll->setEnabled(!m_listModel->fixIDs().empty());
    m_tickAll->setVisible(!issues.empty());
    m_stack->setCurrentIndex(issues.empty() ? 1 : 0);
    showCurrent();
}

void IssueListView::showCurrent()
{
    const Issue* issue = m_listModel->issue(m_tree->currentIndex());
    m_compare->setMatch(issue ? issue->match : std::nullopt);
    m_places->setIssue(issue);
    m_fullDetail->setText(issue ? fromUtf8(issue->detail) : QString());
    m_fullDetail->setVisible(issue != nullptr);
    m_detailsArea->setVisible(issue && (issue->match || issue->places));
}

} // namespace kinloom
