#include "session/AppModel.h"
#include "window/ContentView.h"
#include "window/Icons.h"
#include "desktop/QtPlatformServices.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Kinloom"));
    QApplication::setApplicationName(QStringLiteral("Kinloom"));
    QApplication::setApplicationVersion(QStringLiteral(KINLOOM_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("kinloom"));
    kinloom::installIconThemeFallback();
    QApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("kinloom"), QIcon(QStringLiteral(":/kinloom.svg"))));

    kinloom::QtPlatformServices services;
    kinloom::AppModel model(services, true);
    kinloom::ContentView window(model);
    services.setWindow(&window);
    window.show();

    // A file named on the command line opens as if it had been dropped on the window.
    if (const QStringList arguments = QApplication::arguments(); arguments.size() > 1)
        model.openFile(arguments.at(1));
    return QApplication::exec();
}
