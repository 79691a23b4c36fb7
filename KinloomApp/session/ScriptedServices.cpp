// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/ScriptedServices.h"

namespace kinloom {
namespace {

std::optional<QString> next(std::deque<QString>& queue)
{
    if (queue.empty())
        return std::nullopt;
    const QString answer = std::move(queue.front());
    queue.pop_front();
    if (answer.isNull())
        return std::nullopt;
    return answer;
}

int answer(std::deque<int>& answers, const QStringList& buttons)
{
    if (answers.empty())
        return static_cast<int>(buttons.size()) - 1;
    const int chosen = answers.front();
    answers.pop_front();
    return chosen;
}

} // namespace

std::optional<QString> ScriptedServices::chooseFamilyTreeFile(const QString& prompt, const QString& message)
{
    m_fileRequests.append({prompt, message, {}});
    return next(m_files);
}

std::optional<QString> ScriptedServices::chooseFolder(const QString& prompt, const QString& message,
                                                      const QString& startFolder)
{
    m_folderRequests.append({prompt, message, startFolder});
    return next(m_folders);
}

std::optional<QString> ScriptedServices::chooseSaveLocation(TextFormat format, const QString& suggestedName,
                                                            const QString& message)
{
    m_saveRequests.append({{}, message, suggestedName});
    m_saveFormats.append(format);
    return next(m_saveLocations);
}

int ScriptedServices::alert(const QString& message, const QString& informativeText,
                            const QStringList& buttons)
{
    m_alerts.append({message, informativeText, buttons.join(u'|')});
    return answer(m_answers, buttons);
}

int ScriptedServices::inform(const QString& message, const QString& informativeText,
                             const QStringList& buttons)
{
    m_messages.append({message, informativeText, buttons.join(u'|')});
    return answer(m_answers, buttons);
}

} // namespace kinloom
