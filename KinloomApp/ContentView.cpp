#include "ContentView.h"

#include "AppModel.h"
#include "ApplySheet.h"
#include "EmptyStateView.h"
#include "Icons.h"
#include "IssueListView.h"
#include "MainSplitView.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QSettings>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace kinloom {

namespace {

QAction* makeAction(QWidget* owner, const char* objectName, const QString& text, std::string_view symbol,
                    const QString& help, const QKeySequence& shortcut = {})
{
    auto* action = new QAction(symbolIcon(symbol), text, owner);
    action->setObjectName(QLatin1String(objectName));
    // Without a help text the tool tip is the action's text, its mnemonic markers removed.
    if (!help.isEmpty())
        action->setToolTip(help);
    action->setStatusTip(help);
    action->setShortcut(shortcut);
    owner->addAction(action);
    return action;
}

} // namespace

ContentView::ContentView(AppModel& model, QWidget* parent) : QMainWindow(parent), m_model(model)
{
    setObjectName(QStringLiteral("mainWindow"));
    setWindowTitle(QStringLiteral("Kinloom"));
    setAcceptDrops(true);
    setMinimumSize(720, 480);
    resize(1100, 720);

    m_stack = new QStackedWidget(this);
    m_emptyState = new EmptyStateView(model, m_stack);
    m_mainSplit = new MainSplitView(model, m_stack);
    m_stack->addWidget(m_emptyState);
    m_stack->addWidget(m_mainSplit);
    setCentralWidget(m_stack);

    m_busyOverlay = new QFrame(m_stack);
    m_busyOverlay->setObjectName(QStringLiteral("busyOverlay"));
    m_busyOverlay->setAutoFillBackground(true);
    QPalette veil = m_busyOverlay->palette();
    QColor veilColour = veil.color(QPalette::Window);
    veilColour.setAlpha(215);
    veil.setColor(QPalette::Window, veilColour);
    m_busyOverlay->setPalette(veil);
    m_busyLabel = new QLabel(m_busyOverlay);
    m_busyLabel->setObjectName(QStringLiteral("busyLabel"));
    m_busyLabel->setAlignment(Qt::AlignHCenter);
    m_progress = new QProgressBar(m_busyOverlay);
    m_progress->setObjectName(QStringLiteral("busyProgress"));
    m_progress->setAccessibleName(QStringLiteral("Progress"));
    m_progress->setFixedWidth(320);
    m_progress->setTextVisible(false);
    auto* overlayLayout = new QVBoxLayout(m_busyOverlay);
    overlayLayout->addStretch(1);
    overlayLayout->addWidget(m_busyLabel);
    overlayLayout->addWidget(m_progress, 0, Qt::AlignHCenter);
    overlayLayout->addStretch(1);
    m_busyOverlay->hide();

    m_dropHighlight = new QFrame(m_stack);
    m_dropHighlight->setObjectName(QStringLiteral("dropHighlight"));
    m_dropHighlight->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_dropHighlight->setStyleSheet(
        QStringLiteral("#dropHighlight { border: 3px solid palette(highlight); }"));
    m_dropHighlight->hide();

    m_applySheet = new ApplySheet(model, this);
    createActions();
    restoreLayout();

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) { refresh(int(field)); });
    refresh(-1);
}

void ContentView::createActions()
{
    auto* open = makeAction(this, "openAction", QStringLiteral("Open…"), "folder",
                            QStringLiteral("Open another family-tree file"), QKeySequence::Open);
    connect(open, &QAction::triggered, &m_model, &AppModel::openFromPanel);
    m_undo = makeAction(this, "undoAction", QStringLiteral("Undo"), "arrow.uturn.backward",
                        QStringLiteral("Undo the last batch of changes"), QKeySequence::Undo);
    connect(m_undo, &QAction::triggered, &m_model, &AppModel::undoLast);

    auto* reportMenu = new QMenu(this);
    reportMenu->setObjectName(QStringLiteral("reportMenu"));
    auto* reportText = reportMenu->addAction(QStringLiteral("Report as Text…"));
    reportText->setObjectName(QStringLiteral("reportTextAction"));
    connect(reportText, &QAction::triggered, this, [this] { m_model.exportReport(TextFormat::text); });
    auto* reportPdf = reportMenu->addAction(QStringLiteral("Report as PDF…"));
    reportPdf->setObjectName(QStringLiteral("reportPdfAction"));
    connect(reportPdf, &QAction::triggered, this, [this] { m_model.exportReport(TextFormat::pdf); });
    m_report = makeAction(this, "reportAction", QStringLiteral("Report"), "doc.text.magnifyingglass",
                          QStringLiteral("Save the list of findings"));
    m_report->setMenu(reportMenu);

    m_save =
        makeAction(this, "saveAction", QStringLiteral("Save Cleaned Copy"), "square.and.arrow.down.on.square",
                   QStringLiteral("Write a new, cleaned file and its change log"), QKeySequence::Save);
    connect(m_save, &QAction::triggered, this, [this] { (void)m_model.saveCleanedCopy(); });
    m_review = makeAction(this, "reviewAction", QStringLiteral("Review && Apply…"), "checkmark.circle",
                          QString(), QKeySequence(Qt::CTRL | Qt::Key_Return));
    connect(m_review, &QAction::triggered, this, [this] { m_model.setShowApply(true); });

    auto* toolbar = addToolBar(QStringLiteral("Session"));
    toolbar->setObjectName(QStringLiteral("toolbar"));
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolbar->addAction(open);
    toolbar->addAction(m_undo);
    toolbar->addAction(m_report);
    if (auto* reportButton = qobject_cast<QToolButton*>(toolbar->widgetForAction(m_report)))
        reportButton->setPopupMode(QToolButton::InstantPopup);
    toolbar->addAction(m_save);
    toolbar->addSeparator();
    toolbar->addAction(m_review);
    m_sessionActions = {open, m_undo, m_report, m_save, m_review};

    // Ctrl+0 shows the overview and Ctrl+1 … Ctrl+7 the categories, as the View menu says.
    const auto sidebarShortcut = [this](const QString& name, int key, SidebarItem item) {
        auto* action = new QAction(this);
        action->setObjectName(name);
        action->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(key)));
        connect(action, &QAction::triggered, this, [this, item] {
            if (m_model.document())
                m_model.setSidebar(item);
        });
        addAction(action);
    };
    sidebarShortcut(QStringLiteral("showOverviewAction"), Qt::Key_0, SidebarItem::overview());
    for (IssueCategory category : allIssueCategories)
        sidebarShortcut(QStringLiteral("showCategory%1Action").arg(int(category) + 1),
                        Qt::Key_1 + int(category), SidebarItem::forCategory(category));
}

void ContentView::refresh(int field)
{
    using Field = AppModel::Field;
    const auto is = [field](Field f) { return field < 0 || field == int(f); };
    if (is(Field::document)) {
        m_stack->setCurrentWidget(m_model.document() ? static_cast<QWidget*>(m_mainSplit) : m_emptyState);
        setWindowTitle(m_model.document() ? m_model.fileName() + QStringLiteral(" — Kinloom")
                                          : QStringLiteral("Kinloom"));
    }
    if (is(Field::busy) || is(Field::progress)) {
        const bool busy = m_model.busy().has_value();
        m_busyLabel->setText(m_model.busy().value_or(QString()));
        // No fraction yet: the bar moves to and fro.
        m_progress->setRange(0, m_model.progress() ? 1000 : 0);
        m_progress->setValue(int(m_model.progress().value_or(0) * 1000));
        m_busyOverlay->setVisible(busy);
        if (busy)
            m_busyOverlay->raise();
        m_emptyState->setEnabled(!busy);
        m_mainSplit->setEnabled(!busy);
    }
    const bool idle = !m_model.busy();
    const bool open = m_model.document().has_value();
    m_sessionActions.front()->setEnabled(idle);
    m_undo->setEnabled(idle && !m_model.history().empty());
    m_report->setEnabled(idle && m_model.result());
    m_save->setEnabled(idle && open);
    m_review->setEnabled(idle && !m_model.selection().empty());
    for (QAction* action : actions()) {
        if (action->objectName().startsWith(QLatin1String("show")))
            action->setEnabled(open);
    }
    if (is(Field::error))
        showError();
}

void ContentView::showError()
{
    const std::optional<QString>& error = m_model.error();
    if (!error) {
        if (m_alert && m_alert->isVisible())
            m_alert->done(QMessageBox::Ok);
        return;
    }
    if (!m_alert) {
        m_alert = new QMessageBox(QMessageBox::Warning, QStringLiteral("Something went wrong"), QString(),
                                  QMessageBox::Ok, this);
        m_alert->setObjectName(QStringLiteral("errorAlert"));
        m_alert->setWindowModality(Qt::WindowModal);
        connect(m_alert, &QMessageBox::finished, this, [this] { m_model.setError(std::nullopt); });
    }
    // The title bar may not show on every desktop, so the alert says it in its text too.
    m_alert->setTextFormat(Qt::RichText);
    m_alert->setText(QStringLiteral("<b>Something went wrong</b>"));
    m_alert->setInformativeText(*error);
    m_alert->open();
}

QString ContentView::droppedFamilyTree(const QMimeData* data)
{
    if (!data || !data->hasUrls() || data->urls().size() != 1)
        return {};
    const QUrl url = data->urls().front();
    if (!url.isLocalFile() || !url.fileName().endsWith(QLatin1String(".ged"), Qt::CaseInsensitive))
        return {};
    return url.toLocalFile();
}

void ContentView::dragEnterEvent(QDragEnterEvent* event)
{
    if (m_model.busy() || droppedFamilyTree(event->mimeData()).isEmpty())
        return;
    event->acceptProposedAction();
    setDropTargeted(true);
}

void ContentView::dragLeaveEvent(QDragLeaveEvent*)
{
    setDropTargeted(false);
}

void ContentView::dropEvent(QDropEvent* event)
{
    setDropTargeted(false);
    const QString path = droppedFamilyTree(event->mimeData());
    if (path.isEmpty() || m_model.busy())
        return;
    event->acceptProposedAction();
    m_model.openFile(path);
}

void ContentView::setDropTargeted(bool targeted)
{
    m_dropTargeted = targeted;
    m_emptyState->setTargeted(targeted);
    m_dropHighlight->setVisible(targeted && m_model.document());
    if (targeted)
        m_dropHighlight->raise();
}

void ContentView::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    placeOverlays();
}

void ContentView::placeOverlays()
{
    m_busyOverlay->setGeometry(m_stack->rect());
    m_dropHighlight->setGeometry(m_stack->rect());
}

void ContentView::restoreLayout()
{
    const QSettings settings;
    restoreGeometry(settings.value(QStringLiteral("window/geometry")).toByteArray());
    m_mainSplit->restoreState(settings.value(QStringLiteral("window/sidebarSplit")).toByteArray());
    if (auto* listSplit = m_mainSplit->findChild<QSplitter*>(QStringLiteral("listSplitter")))
        listSplit->restoreState(settings.value(QStringLiteral("window/listSplit")).toByteArray());
}

void ContentView::closeEvent(QCloseEvent* event)
{
    if (!m_model.mayDiscard()) {
        event->ignore();
        return;
    }
    QSettings settings;
    settings.setValue(QStringLiteral("window/geometry"), saveGeometry());
    settings.setValue(QStringLiteral("window/sidebarSplit"), m_mainSplit->saveState());
    if (auto* listSplit = m_mainSplit->findChild<QSplitter*>(QStringLiteral("listSplitter")))
        settings.setValue(QStringLiteral("window/listSplit"), listSplit->saveState());
    event->accept();
}

} // namespace kinloom
