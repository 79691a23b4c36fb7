// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace kinloom {

/// What the change log or a report is written as.
enum class TextFormat
{
    text,
    pdf
};

/// The modal and environmental services the session needs from the desktop: panels, alerts and the
/// file manager. The real application and the tests each supply their own.
class PlatformServices
{
public:
    virtual ~PlatformServices() = default;

    /// A file-open panel for one `.ged` file; none when cancelled.
    [[nodiscard]] virtual std::optional<QString> chooseFamilyTreeFile(const QString& prompt,
                                                                      const QString& message) = 0;
    /// A folder chooser that may create folders, starting in `startFolder`; none when cancelled.
    [[nodiscard]] virtual std::optional<QString> chooseFolder(const QString& prompt, const QString& message,
                                                              const QString& startFolder) = 0;
    /// A save panel that allows only plain text or only PDF; none when cancelled.
    [[nodiscard]] virtual std::optional<QString>
    chooseSaveLocation(TextFormat format, const QString& suggestedName, const QString& message) = 0;
    /// A modal alert; returns the index of the button chosen (the last one when it is dismissed).
    [[nodiscard]] virtual int alert(const QString& message, const QString& informativeText,
                                    const QStringList& buttons) = 0;
    /// A modal message that something went well, offering what to do next; returns the index of
    /// the button chosen (the last one when it is dismissed). Shown like `alert` unless a desktop
    /// tells the two apart.
    [[nodiscard]] virtual int inform(const QString& message, const QString& informativeText,
                                     const QStringList& buttons);
    /// Shows these files selected in the file manager.
    virtual void reveal(const QStringList& paths) = 0;
    /// Opens this file in the program the desktop uses for its kind.
    virtual void openFile(const QString& path);
    /// The store of the user's decisions about findings, shared with the command-line tool; empty
    /// when there is no home folder to keep it in.
    [[nodiscard]] virtual QString decisionStore() const;
};

/// What this platform calls the user's machine in texts: "computer", or "Mac" on Apple systems.
[[nodiscard]] QString computerWord();

} // namespace kinloom
