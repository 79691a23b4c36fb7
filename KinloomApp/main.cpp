// SPDX-License-Identifier: GPL-3.0-or-later
#include "desktop/QtPlatformServices.h"
#include "session/AppModel.h"
#include "window/ContentView.h"
#include "window/Icons.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>

namespace {

/// The app's options; Qt's own, such as -platform, are taken out by QApplication.
void addOptions(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Finds and fixes problems in family-tree (GEDCOM) files."));
    // Not addHelpOption(), whose --help-all would have to be answered after the window system starts.
    parser.addOption(
        {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Shows this help and exits.")});
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("The family-tree file to open."),
                                 QStringLiteral("[FILE]"));
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication::setOrganizationName(QStringLiteral("Kinloom"));
    QApplication::setApplicationName(QStringLiteral("Kinloom"));
    QApplication::setApplicationVersion(QStringLiteral(KINLOOM_VERSION));

    // --help and --version are answered before the window system is reached, so they need no display.
    {
        QStringList arguments;
        for (int i = 0; i < argc; ++i)
            arguments << QString::fromLocal8Bit(argv[i]);
        QCommandLineParser early;
        addOptions(early);
        // Qt's own options are not known yet, so a failure is told below, once they are.
        early.parse(arguments);
        if (early.isSet(QStringLiteral("help"))) {
            // With no application object yet, Qt's text has a placeholder for the program's name.
            std::fputs(qPrintable(early.helpText().replace(QStringLiteral("<executable_name>"),
                                                           QStringLiteral("kinloom"))),
                       stdout);
            return 0;
        }
        if (early.isSet(QStringLiteral("version")))
            early.showVersion();
    }

    QApplication app(argc, argv);
    QApplication::setDesktopFileName(QStringLiteral("org.kinloom.Kinloom"));
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(QApplication::arguments()) || parser.positionalArguments().size() > 1) {
        const QString error =
            parser.errorText().isEmpty() ? QStringLiteral("only one file can be opened") : parser.errorText();
        std::fprintf(stderr, "kinloom: %s\nkinloom --help shows the options.\n", qPrintable(error));
        return 2;
    }
    kinloom::installIconThemeFallback();
    QApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("org.kinloom.Kinloom"), QIcon(QStringLiteral(":/kinloom.svg"))));

    kinloom::QtPlatformServices services;
    kinloom::AppModel model(services, true);
    kinloom::ContentView window(model);
    services.setWindow(&window);
    window.show();

    // A file named on the command line opens as if it had been dropped on the window.
    if (const QStringList files = parser.positionalArguments(); !files.isEmpty())
        model.openFile(files.first());
    return QApplication::exec();
}
