// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMainWindow>
#include <QPointer>

class QAction;
class QLabel;
class QMenu;
class QMessageBox;
class QMimeData;
class QProgressBar;
class QPushButton;
class QStackedWidget;

namespace kinloom {

class AppModel;
class ApplySheet;
class EmptyStateView;
class HelpView;
class MainSplitView;
class SettingsView;

/// The main window: the empty state or the findings, the toolbar, the busy overlay with its
/// progress bar, the apply sheet, the status bar with the last action's result, and the alert for
/// failures. A family-tree file dropped anywhere on
/// it opens. The window's size and splitter positions are kept between runs.
class ContentView final : public QMainWindow
{
    Q_OBJECT

public:
    explicit ContentView(AppModel& model, QWidget* parent = nullptr);

    [[nodiscard]] bool dropTargeted() const { return m_dropTargeted; }
    [[nodiscard]] EmptyStateView* emptyState() const { return m_emptyState; }
    [[nodiscard]] MainSplitView* mainSplit() const { return m_mainSplit; }
    [[nodiscard]] ApplySheet* applySheet() const { return m_applySheet; }

    /// The one `.ged` file a drag carries, or an empty text when it carries anything else.
    [[nodiscard]] static QString droppedFamilyTree(const QMimeData* data);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void createActions();
    void createDecisionActions(QMenu* editMenu, QMenu* viewMenu);
    void refreshDecisionActions();
    void showSettings();
    void showHelp();
    void showAbout();
    /// The fixes the last apply skipped, and why.
    void showSkipped();
    void createStatusBar();
    void setDropTargeted(bool targeted);
    void refresh(int field);
    void showError();
    void placeOverlays();
    void restoreLayout();

    AppModel& m_model;
    bool m_dropTargeted = false;
    QPointer<QWidget> m_focusBeforeBusy; ///< the control that had the keyboard when work began
    QStackedWidget* m_stack = nullptr;
    EmptyStateView* m_emptyState = nullptr;
    MainSplitView* m_mainSplit = nullptr;
    QWidget* m_busyOverlay = nullptr;
    QLabel* m_busyLabel = nullptr;
    QProgressBar* m_progress = nullptr;
    QWidget* m_dropHighlight = nullptr;
    ApplySheet* m_applySheet = nullptr;
    SettingsView* m_settings = nullptr;
    HelpView* m_help = nullptr;
    QMessageBox* m_alert = nullptr;
    QMessageBox* m_about = nullptr;
    QLabel* m_statusMessage = nullptr; ///< the result of the last action, until the next one
    QPushButton* m_skippedButton = nullptr;
    QList<QAction*> m_sessionActions; ///< disabled while work runs
    QList<QAction*> m_viewActions;    ///< enabled while a file is open
    QAction* m_undo = nullptr;
    QAction* m_redo = nullptr;
    QAction* m_undoAll = nullptr;
    QMenu* m_exportMenu = nullptr;
    QAction* m_report = nullptr;
    QAction* m_save = nullptr;
    QAction* m_review = nullptr;
    QAction* m_untickAll = nullptr; ///< clears every ticked fix
    QAction* m_decide = nullptr;    ///< "Not a Problem" or "Bring Back" for the selected finding
    QAction* m_showDismissed = nullptr;
};

} // namespace kinloom
