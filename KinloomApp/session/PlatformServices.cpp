// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/PlatformServices.h"

#include "decisions/Decisions.h"

#include <QDesktopServices>
#include <QFile>
#include <QUrl>

namespace kinloom {

QString PlatformServices::decisionStore() const
{
    return QFile::decodeName(QByteArray::fromStdString(Decisions::defaultStorePath().string()));
}

int PlatformServices::inform(const QString& message, const QString& informativeText,
                             const QStringList& buttons)
{
    return alert(message, informativeText, buttons);
}

void PlatformServices::openFile(const QString& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

QString computerWord()
{
#ifdef Q_OS_MACOS
    return QStringLiteral("Mac");
#else
    return QStringLiteral("computer");
#endif
}

} // namespace kinloom
