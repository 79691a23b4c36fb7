// SPDX-License-Identifier: GPL-3.0-or-later
#include "desktop/QtPlatformServices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSet>
#include <QUrl>

namespace kinloom {
namespace {

std::optional<QString> chosenFile(QFileDialog& dialog)
{
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().constFirst();
}

} // namespace

std::optional<QString> QtPlatformServices::chooseFamilyTreeFile(const QString& prompt, const QString& message)
{
    QFileDialog dialog(m_window, message);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setNameFilter(QStringLiteral("GEDCOM (*.ged *.GED)"));
    dialog.setLabelText(QFileDialog::Accept, prompt);
    return chosenFile(dialog);
}

std::optional<QString> QtPlatformServices::chooseFolder(const QString& prompt, const QString& message,
                                                        const QString& startFolder)
{
    QFileDialog dialog(m_window, message, startFolder);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, prompt);
    // A window title is cut short, so the dialog drawn by Qt says the message in full below the list.
    if (auto* grid = qobject_cast<QGridLayout*>(dialog.layout())) {
        auto* label = new QLabel(message, &dialog);
        label->setObjectName(QStringLiteral("folderMessage"));
        label->setWordWrap(true);
        grid->addWidget(label, grid->rowCount(), 0, 1, grid->columnCount());
    }
    return chosenFile(dialog);
}

std::optional<QString> QtPlatformServices::chooseSaveLocation(TextFormat format, const QString& suggestedName,
                                                              const QString& message)
{
    const bool pdf = format == TextFormat::pdf;
    QFileDialog dialog(m_window, message);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilter(pdf ? QStringLiteral("PDF (*.pdf)") : QStringLiteral("Plain text (*.txt)"));
    dialog.setDefaultSuffix(pdf ? QStringLiteral("pdf") : QStringLiteral("txt"));
    dialog.selectFile(suggestedName);
    return chosenFile(dialog);
}

std::unique_ptr<QMessageBox> QtPlatformServices::makeAlert(QWidget* parent, const QString& message,
                                                           const QString& informativeText,
                                                           const QStringList& buttons,
                                                           QList<QAbstractButton*>& added)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setObjectName(QStringLiteral("questionAlert"));
    box->setIcon(QMessageBox::Warning);
    box->setText(message);
    box->setInformativeText(informativeText);
    for (qsizetype i = 0; i < buttons.size(); ++i) {
        // The last button cancels, and Escape or closing the alert means it too.
        const auto role = i == buttons.size() - 1 && buttons.size() > 1 ? QMessageBox::RejectRole
                          : i == 0                                      ? QMessageBox::AcceptRole
                                                                        : QMessageBox::DestructiveRole;
        added.append(box->addButton(buttons[i], role));
    }
    if (!added.isEmpty()) {
        box->setDefaultButton(qobject_cast<QPushButton*>(added.constFirst()));
        box->setEscapeButton(added.constLast());
    }
    return box;
}

int QtPlatformServices::alert(const QString& message, const QString& informativeText,
                              const QStringList& buttons)
{
    QList<QAbstractButton*> added;
    const std::unique_ptr<QMessageBox> box = makeAlert(m_window, message, informativeText, buttons, added);
    box->exec();
    const qsizetype chosen = added.indexOf(box->clickedButton());
    return static_cast<int>(chosen < 0 ? buttons.size() - 1 : chosen);
}

int QtPlatformServices::inform(const QString& message, const QString& informativeText,
                               const QStringList& buttons)
{
    QList<QAbstractButton*> added;
    const std::unique_ptr<QMessageBox> box = makeAlert(m_window, message, informativeText, buttons, added);
    box->setObjectName(QStringLiteral("messageAlert"));
    box->setIcon(QMessageBox::Information);
    if (!added.isEmpty())
        box->setDefaultButton(qobject_cast<QPushButton*>(added.constLast()));
    box->exec();
    const qsizetype chosen = added.indexOf(box->clickedButton());
    return static_cast<int>(chosen < 0 ? buttons.size() - 1 : chosen);
}

void QtPlatformServices::reveal(const QStringList& paths)
{
    if (paths.isEmpty())
        return;
    QStringList uris;
    for (const QString& path : paths)
        uris.append(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 3000);
    if (reply.type() != QDBusMessage::ErrorMessage)
        return;
    // No file manager answers on the bus: open each folder instead.
    QSet<QString> folders;
    for (const QString& path : paths)
        folders.insert(QFileInfo(path).absolutePath());
    for (const QString& folder : folders)
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

} // namespace kinloom
