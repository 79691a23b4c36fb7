// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/ContentView.h"

#include "session/AppModel.h"
#include "session/PlatformServices.h"
#include "session/QtText.h"
#include "window/ApplySheet.h"
#include "window/EmptyStateView.h"
#include "window/FocusFrame.h"
#include "window/HelpView.h"
#include "window/Icons.h"
#include "window/MainSplitView.h"
#include "window/SelectionBar.h"
#include "window/SettingsView.h"
#include "window/SidebarView.h"
#include "window/findings/IssueListView.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDragEnterEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
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
    new FocusFrame(this);
    createActions();
    createStatusBar();
    restoreLayout();

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) { refresh(int(field)); });
    refresh(-1);
}

void ContentView::createActions()
{
    auto* open = makeAction(this, "openAction", QStringLiteral("Open…"), "folder",
                            QStringLiteral("Open another family-tree file"), QKeySequence::Open);
    open->setIconText(QStringLiteral("Open"));
    connect(open, &QAction::triggered, &m_model, &AppModel::openFromPanel);
    auto* sample =
        makeAction(this, "openSampleAction", QStringLiteral("Open Sample Tree"), {},
                   QStringLiteral("Open a small tree with a problem of every kind, to try Kinloom on"));
    connect(sample, &QAction::triggered, &m_model, &AppModel::openSampleTree);
    m_undo = makeAction(this, "undoAction", QStringLiteral("Undo Last Batch"), "arrow.uturn.backward",
                        QStringLiteral("Undo the last batch of changes"), QKeySequence::Undo);
    m_undo->setIconText(QStringLiteral("Undo"));
    connect(m_undo, &QAction::triggered, &m_model, &AppModel::undoLast);
    m_redo = makeAction(this, "redoAction", QStringLiteral("Redo"), "arrow.uturn.forward",
                        QStringLiteral("Apply the batch of changes just undone again"),
                        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    connect(m_redo, &QAction::triggered, &m_model, &AppModel::redo);
    m_undoAll = makeAction(this, "undoAllAction", QStringLiteral("Undo All Changes"), {},
                           QStringLiteral("Go back to the file as it was opened"));
    connect(m_undoAll, &QAction::triggered, &m_model, &AppModel::undoAll);

    const auto reportActions = [this](QMenu* menu, const QString& text, const QString& pdf,
                                      const char* prefix) {
        auto* asText = menu->addAction(text);
        asText->setObjectName(QLatin1String(prefix) + QStringLiteral("TextAction"));
        connect(asText, &QAction::triggered, this, [this] { m_model.exportReport(TextFormat::text); });
        auto* asPdf = menu->addAction(pdf);
        asPdf->setObjectName(QLatin1String(prefix) + QStringLiteral("PdfAction"));
        connect(asPdf, &QAction::triggered, this, [this] { m_model.exportReport(TextFormat::pdf); });
    };
    auto* reportMenu = new QMenu(this);
    reportMenu->setObjectName(QStringLiteral("reportMenu"));
    reportActions(reportMenu, QStringLiteral("Report as Text…"), QStringLiteral("Report as PDF…"), "report");
    m_report = makeAction(this, "reportAction", QStringLiteral("Report"), "doc.text",
                          QStringLiteral("Save the list of findings"));
    m_report->setMenu(reportMenu);

    m_save = makeAction(this, "saveAction", QStringLiteral("Save Cleaned Copy…"),
                        "square.and.arrow.down.on.square",
                        QStringLiteral("Write a new, cleaned file and its change log"), QKeySequence::Save);
    m_save->setIconText(QStringLiteral("Save Cleaned Copy"));
    connect(m_save, &QAction::triggered, this, [this] { (void)m_model.saveCleanedCopy(); });
    m_review =
        makeAction(this, "reviewAction", QStringLiteral("Review && Apply…"), "checkmark.circle", QString());
    // The keypad's Enter as well as Return; the menu shows the first.
    m_review->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)});
    connect(m_review, &QAction::triggered, this, [this] { m_model.setShowApply(true); });

    auto* find =
        makeAction(this, "findAction", QStringLiteral("Find"), "magnifyingglass",
                   QStringLiteral("Search the findings by name, place, date or xref"), QKeySequence::Find);
    connect(find, &QAction::triggered, this, [this] {
        if (!m_model.result())
            return;
        // The search belongs to a list of findings: from elsewhere, go to the first with any.
        if (!m_model.sidebar() || m_model.sidebar()->kind != SidebarItem::Kind::category) {
            const std::vector<Issue>& issues = m_model.result()->issues;
            const auto first = std::find_if(
                allIssueCategories.begin(), allIssueCategories.end(), [&](IssueCategory category) {
                    return std::any_of(issues.begin(), issues.end(),
                                       [&](const Issue& issue) { return issue.category == category; });
                });
            m_model.setSidebar(SidebarItem::forCategory(
                first == allIssueCategories.end() ? IssueCategory::duplicates : *first));
        }
        m_mainSplit->issueList()->focusSearch();
    });
    m_viewActions.append(find);

    auto* settings = makeAction(this, "settingsAction", QStringLiteral("Settings…"), {},
                                QStringLiteral("Date order, age limits and how sure a duplicate must be"),
                                QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->setMenuRole(QAction::PreferencesRole);
    connect(settings, &QAction::triggered, this, &ContentView::showSettings);
    auto* help = makeAction(this, "helpAction", QStringLiteral("How Kinloom Works"), {},
                            QStringLiteral("What each list means, and how fixes, merges and the copy work"),
                            QKeySequence::HelpContents);
    connect(help, &QAction::triggered, this, &ContentView::showHelp);
    auto* about = makeAction(this, "aboutAction", QStringLiteral("About Kinloom"), {}, {});
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, &ContentView::showAbout);
    auto* closeWindow = makeAction(this, "closeAction", QStringLiteral("Close Window"), {}, {},
                                   QKeySequence(Qt::CTRL | Qt::Key_W));
    connect(closeWindow, &QAction::triggered, this, &QWidget::close);
    auto* quit = makeAction(this, "quitAction", QStringLiteral("Quit"), {}, {}, QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    // Closing every window goes through each one's close guard, and the app ends with the last.
    connect(quit, &QAction::triggered, qApp, &QApplication::closeAllWindows, Qt::QueuedConnection);

    auto* fileMenu = menuBar()->addMenu(QStringLiteral("&File"));
    fileMenu->setObjectName(QStringLiteral("fileMenu"));
    fileMenu->addAction(open);
    fileMenu->addAction(sample);
    fileMenu->addSeparator();
    fileMenu->addAction(m_save);
    m_exportMenu = fileMenu->addMenu(QStringLiteral("Export Report"));
    m_exportMenu->setObjectName(QStringLiteral("exportReportMenu"));
    m_exportMenu->setIcon(symbolIcon("doc.text"));
    reportActions(m_exportMenu, QStringLiteral("as Text…"), QStringLiteral("as PDF…"), "export");
    fileMenu->addSeparator();
    fileMenu->addAction(closeWindow);
    fileMenu->addAction(quit);

    auto* editMenu = menuBar()->addMenu(QStringLiteral("&Edit"));
    editMenu->setObjectName(QStringLiteral("editMenu"));
    editMenu->addAction(m_undo);
    editMenu->addAction(m_redo);
    editMenu->addAction(m_undoAll);
    editMenu->addSeparator();
    editMenu->addAction(find);
    editMenu->addSeparator();
    m_untickAll =
        makeAction(this, "untickAllAction", QStringLiteral("Untick All"), {},
                   QStringLiteral("Clear every ticked fix"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));
    connect(m_untickAll, &QAction::triggered, this, [this] { m_model.setSelection({}); });
    editMenu->addAction(m_review);
    editMenu->addAction(m_untickAll);
    editMenu->addSeparator();
    editMenu->addAction(settings);

    // Ctrl+0 shows the overview and Ctrl+1 … Ctrl+7 the categories.
    auto* viewMenu = menuBar()->addMenu(QStringLiteral("&View"));
    viewMenu->setObjectName(QStringLiteral("viewMenu"));
    const auto viewAction = [this, viewMenu](const QString& name, const QString& text,
                                             std::string_view symbol, std::optional<int> key,
                                             SidebarItem item) {
        auto* action = makeAction(this, name.toLatin1().constData(), text, symbol, {},
                                  key ? QKeySequence(Qt::CTRL | Qt::Key(*key)) : QKeySequence());
        connect(action, &QAction::triggered, this, [this, item] {
            if (m_model.document())
                m_model.setSidebar(item);
        });
        viewMenu->addAction(action);
        m_viewActions.append(action);
    };
    viewAction(QStringLiteral("showOverviewAction"), QStringLiteral("Overview"), "chart.bar.doc.horizontal",
               Qt::Key_0, SidebarItem::overview());
    for (IssueCategory category : allIssueCategories)
        viewAction(QStringLiteral("showCategory%1Action").arg(int(category) + 1), fromUtf8(title(category)),
                   categorySymbol(category), Qt::Key_1 + int(category), SidebarItem::forCategory(category));
    viewAction(QStringLiteral("showChangesAction"), QStringLiteral("Changes"), "list.bullet.clipboard",
               std::nullopt, SidebarItem::changes());

    createDecisionActions(editMenu, viewMenu);

    auto* helpMenu = menuBar()->addMenu(QStringLiteral("&Help"));
    helpMenu->setObjectName(QStringLiteral("helpMenu"));
    helpMenu->addAction(help);
    helpMenu->addAction(sample);
    helpMenu->addAction(about);

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
    m_sessionActions = {open, sample, m_undo, m_redo, m_undoAll, m_report, m_save, m_review};
}

void ContentView::createDecisionActions(QMenu* editMenu, QMenu* viewMenu)
{
    m_decide = makeAction(this, "decideAction", QStringLiteral("Not a Problem"), {},
                          QStringLiteral("Hide the selected finding until one of its records changes"),
                          SelectionBar::decisionShortcut());
    connect(m_decide, &QAction::triggered, this, [this] { SelectionBar::decideCurrent(m_model); });
    editMenu->insertAction(m_review, m_decide);
    editMenu->insertSeparator(m_review);

    m_showDismissed = makeAction(this, "showDismissedAction", QStringLiteral("Show Dismissed"), {},
                                 QStringLiteral("List the findings marked Not a Problem, to bring one back"));
    m_showDismissed->setCheckable(true);
    connect(m_showDismissed, &QAction::toggled, m_mainSplit->sidebar(), &SidebarView::showDismissed);
    viewMenu->addSeparator();
    viewMenu->addAction(m_showDismissed);
    m_viewActions.append(m_showDismissed);
}

void ContentView::refreshDecisionActions()
{
    const std::optional<std::size_t> current = m_model.currentFinding();
    const bool listed = current && m_model.result() && m_model.sidebar() &&
                        m_model.sidebar()->kind == SidebarItem::Kind::category;
    m_decide->setEnabled(listed && !m_model.busy());
    m_decide->setText(
        listed ? SelectionBar::decisionText(m_model.result()->issues[*current], m_model.isDismissed(*current))
               : QStringLiteral("Not a Problem"));
    const QSignalBlocker blocker(m_showDismissed);
    m_showDismissed->setChecked(m_model.showDismissed());
}

void ContentView::showSettings()
{
    if (!m_settings)
        m_settings = new SettingsView(m_model, this);
    m_settings->show();
    m_settings->raise();
    m_settings->activateWindow();
}

void ContentView::showHelp()
{
    if (!m_help)
        m_help = new HelpView(this);
    m_help->show();
    m_help->raise();
    m_help->activateWindow();
}

void ContentView::showAbout()
{
    if (!m_about) {
        m_about = new QMessageBox(this);
        m_about->setObjectName(QStringLiteral("aboutBox"));
        m_about->setWindowTitle(QStringLiteral("About Kinloom"));
        m_about->setIconPixmap(windowIcon().pixmap(64, 64));
        m_about->setTextFormat(Qt::RichText);
        m_about->setText(QStringLiteral("<b>Kinloom</b><br>Version ") + QApplication::applicationVersion());
        m_about->setInformativeText(
            QStringLiteral(
                "Kinloom finds and fixes the problems in a family-tree file, and saves the result "
                "as a new, cleaned copy beside a change log.\n\nYour family tree never leaves this ") +
            computerWord() +
            QStringLiteral(
                ": Kinloom makes no network connections at all.\n\nKinloom is free software: you may "
                "share and change it under the GNU General Public License, version 3 or later."));
        m_about->setWindowModality(Qt::WindowModal);
    }
    m_about->open();
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
        // Disabling the views takes the keyboard from them; it goes back where it was afterwards.
        if (busy && !m_focusBeforeBusy)
            m_focusBeforeBusy = focusWidget();
        m_emptyState->setEnabled(!busy);
        m_mainSplit->setEnabled(!busy);
        if (!busy) {
            QWidget* before = std::exchange(m_focusBeforeBusy, nullptr);
            if (before && before->isVisible() && (!focusWidget() || focusWidget() == this))
                before->setFocus(Qt::OtherFocusReason);
        }
    }
    const bool idle = !m_model.busy();
    const bool open = m_model.document().has_value();
    for (QAction* action : std::as_const(m_sessionActions))
        action->setEnabled(idle);
    m_undo->setEnabled(idle && !m_model.history().empty());
    m_redo->setEnabled(idle && !m_model.undone().empty());
    m_undoAll->setEnabled(idle && !m_model.history().empty());
    m_report->setEnabled(idle && m_model.result());
    m_exportMenu->setEnabled(m_report->isEnabled());
    // Saving with nothing applied would only copy the original, so the action says what to do first.
    const bool changed = !m_model.changes().empty();
    m_save->setEnabled(idle && open && changed);
    m_save->setToolTip(open && !changed
                           ? QStringLiteral("No changes to save yet: tick fixes and apply them first")
                           : QStringLiteral("Write a new, cleaned file and its change log"));
    m_review->setEnabled(idle && !m_model.selection().empty());
    m_untickAll->setEnabled(idle && !m_model.selection().empty());
    for (QAction* action : std::as_const(m_viewActions))
        action->setEnabled(open);
    refreshDecisionActions();
    if (is(Field::lastApplied)) {
        m_statusMessage->setText(m_model.lastApplied().value_or(QString()));
        const qsizetype skipped = m_model.skipped().size();
        m_skippedButton->setText(QString::number(skipped) + QStringLiteral(" skipped…"));
        m_skippedButton->setVisible(skipped > 0);
    }
    if (is(Field::error))
        showError();
}

void ContentView::createStatusBar()
{
    // Added as the bar's own widgets, not as a passing message, so that a menu's help text shown
    // over it gives way to it again.
    m_statusMessage = new QLabel(this);
    m_statusMessage->setObjectName(QStringLiteral("statusMessage"));
    m_statusMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_skippedButton = new QPushButton(this);
    m_skippedButton->setObjectName(QStringLiteral("skippedButton"));
    m_skippedButton->setToolTip(QStringLiteral("List the fixes that were skipped, and why"));
    m_skippedButton->hide();
    connect(m_skippedButton, &QPushButton::clicked, this, &ContentView::showSkipped);
    statusBar()->setObjectName(QStringLiteral("statusBar"));
    statusBar()->addWidget(m_statusMessage);
    statusBar()->addWidget(m_skippedButton);
}

void ContentView::showSkipped()
{
    auto* dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("skippedList"));
    dialog->setWindowTitle(QStringLiteral("Skipped Fixes"));
    dialog->setWindowModality(Qt::WindowModal);
    const QStringList& skipped = m_model.skipped();
    auto* why = new QLabel(
        (skipped.size() == 1 ? QStringLiteral("This fix was skipped because another change")
                             : QStringLiteral("These fixes were skipped because other changes")) +
            QStringLiteral(" in the same batch had already altered its lines. The lines are as that change "
                           "left them; tick the fix again if its finding is still listed."),
        dialog);
    why->setObjectName(QStringLiteral("skippedWhy"));
    why->setWordWrap(true);
    auto* list = new QListWidget(dialog);
    list->setObjectName(QStringLiteral("skippedFixes"));
    list->setAccessibleName(QStringLiteral("Skipped fixes"));
    list->addItems(skipped);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(why);
    layout->addWidget(list, 1);
    layout->addWidget(buttons);
    dialog->resize(620, 320);
    dialog->open();
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
