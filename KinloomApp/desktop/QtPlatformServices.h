// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/PlatformServices.h"

#include <QMessageBox>
#include <QPointer>
#include <QWidget>

#include <memory>

namespace kinloom {

/// The desktop's own panels and alerts, as sheets of `window`, and the file manager reached over
/// D-Bus. Needs a QApplication.
class QtPlatformServices final : public PlatformServices
{
public:
    explicit QtPlatformServices(QWidget* window = nullptr) : m_window(window) {}

    /// The window the panels and alerts belong to.
    void setWindow(QWidget* window) { m_window = window; }

    std::optional<QString> chooseFamilyTreeFile(const QString& prompt, const QString& message) override;
    std::optional<QString> chooseFolder(const QString& prompt, const QString& message,
                                        const QString& startFolder) override;
    std::optional<QString> chooseSaveLocation(TextFormat format, const QString& suggestedName,
                                              const QString& message) override;
    int alert(const QString& message, const QString& informativeText, const QStringList& buttons) override;
    /// Like `alert`, with the information icon and the last button, which only closes it, as default.
    int inform(const QString& message, const QString& informativeText, const QStringList& buttons) override;
    /// The alert `alert` shows, not yet shown; `added` receives its buttons in the order given.
    [[nodiscard]] static std::unique_ptr<QMessageBox> makeAlert(QWidget* parent, const QString& message,
                                                                const QString& informativeText,
                                                                const QStringList& buttons,
                                                                QList<QAbstractButton*>& added);
    void reveal(const QStringList& paths) override;

private:
    QPointer<QWidget> m_window;
};

} // namespace kinloom
