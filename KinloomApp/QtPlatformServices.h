#pragma once

#include "PlatformServices.h"

#include <QPointer>
#include <QWidget>

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
    void reveal(const QStringList& paths) override;

private:
    QPointer<QWidget> m_window;
};

} // namespace kinloom
