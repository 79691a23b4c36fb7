#include "session/PlatformServices.h"

#include "decisions/Decisions.h"

#include <QFile>

namespace kinloom {

QString PlatformServices::decisionStore() const
{
    return QFile::decodeName(QByteArray::fromStdString(Decisions::defaultStorePath().string()));
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
