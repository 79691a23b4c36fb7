#include "session/PlatformServices.h"

namespace kinloom {

QString computerWord()
{
#ifdef Q_OS_MACOS
    return QStringLiteral("Mac");
#else
    return QStringLiteral("computer");
#endif
}

} // namespace kinloom
