// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/PlatformServices.h"

#include <QList>
#include <QTemporaryDir>

#include <deque>

namespace kinloom {

/// Platform services that answer from a script set up in advance and remember what they were asked,
/// for tests and headless runs. A panel with no answer queued is cancelled; an alert with none
/// chooses its last button.
class ScriptedServices final : public PlatformServices
{
public:
    /// One question a panel or alert was asked.
    struct Request
    {
        QString prompt;  ///< the panel's prompt, or the alert's message
        QString message; ///< the panel's message, or the alert's informative text
        QString detail;  ///< the start folder, the suggested name, or the buttons joined with "|"
    };

    /// The next file-open panel answers this path, or is cancelled with none.
    void setNextFileName(std::optional<QString> path) { m_files.push_back(path.value_or(QString())); }
    /// The next folder chooser answers this folder, or is cancelled with none.
    void setNextFolder(std::optional<QString> folder) { m_folders.push_back(folder.value_or(QString())); }
    /// The next save panel answers this path, or is cancelled with none.
    void setNextSaveLocation(std::optional<QString> path)
    {
        m_saveLocations.push_back(path.value_or(QString()));
    }
    /// The next alert or message chooses the button at this index.
    void setNextAnswer(int button) { m_answers.push_back(button); }

    [[nodiscard]] const QList<Request>& fileRequests() const { return m_fileRequests; }
    [[nodiscard]] const QList<Request>& folderRequests() const { return m_folderRequests; }
    [[nodiscard]] const QList<Request>& saveRequests() const { return m_saveRequests; }
    [[nodiscard]] const QList<Request>& alerts() const { return m_alerts; }
    /// The messages that something went well, as `alerts` records alerts.
    [[nodiscard]] const QList<Request>& messages() const { return m_messages; }
    [[nodiscard]] const QList<TextFormat>& saveFormats() const { return m_saveFormats; }
    [[nodiscard]] const QList<QStringList>& revealed() const { return m_revealed; }
    [[nodiscard]] const QStringList& opened() const { return m_opened; }

    std::optional<QString> chooseFamilyTreeFile(const QString& prompt, const QString& message) override;
    std::optional<QString> chooseFolder(const QString& prompt, const QString& message,
                                        const QString& startFolder) override;
    std::optional<QString> chooseSaveLocation(TextFormat format, const QString& suggestedName,
                                              const QString& message) override;
    int alert(const QString& message, const QString& informativeText, const QStringList& buttons) override;
    int inform(const QString& message, const QString& informativeText, const QStringList& buttons) override;
    void reveal(const QStringList& paths) override { m_revealed.append(paths); }
    void openFile(const QString& path) override { m_opened.append(path); }
    /// A store in a folder of these services' own, never the user's.
    QString decisionStore() const override
    {
        return m_decisionFolder.filePath(QStringLiteral("decisions.json"));
    }

private:
    // A null text stands for a cancelled panel.
    std::deque<QString> m_files;
    std::deque<QString> m_folders;
    std::deque<QString> m_saveLocations;
    std::deque<int> m_answers;
    QList<Request> m_fileRequests;
    QList<Request> m_folderRequests;
    QList<Request> m_saveRequests;
    QList<Request> m_alerts;
    QList<Request> m_messages;
    QList<TextFormat> m_saveFormats;
    QList<QStringList> m_revealed;
    QStringList m_opened;
    QTemporaryDir m_decisionFolder;
};

} // namespace kinloom
