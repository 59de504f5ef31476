// Shows the program at work without a person: opens the real window, presses what a person would
// press, prints what the window shows and saves pictures of it.

#include "app/mainwindow.h"
#include "demonstration.h"
#include "theme.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {

struct Options
{
    QString folderA;
    QString folderB;
    QDir pictures;
    QString theme;
};

Options parseOptions(const QCoreApplication& application)
{
    const QCommandLineOption pictures(QStringLiteral("pictures"),
                                      QStringLiteral("Save the pictures in <folder>."),
                                      QStringLiteral("folder"), QStringLiteral("."));
    const QCommandLineOption theme(QStringLiteral("theme"),
                                   QStringLiteral("Show the windows in <colours>: light or dark."),
                                   QStringLiteral("colours"), QStringLiteral("light"));
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption(pictures);
    parser.addOption(theme);
    parser.addPositionalArgument(QStringLiteral("groupA"), QStringLiteral("Folder of Group A."));
    parser.addPositionalArgument(QStringLiteral("groupB"), QStringLiteral("Folder of Group B."));
    parser.process(application);
    if (parser.positionalArguments().size() != 2) {
        parser.showHelp(EXIT_FAILURE);
    }
    return {parser.positionalArguments().at(0), parser.positionalArguments().at(1),
            QDir(parser.value(pictures)), parser.value(theme)};
}

QList<Step> stepsFor(const Options& options, QWidget* window)
{
    return demonstration::findDuplicates(window, options.folderA, options.folderB,
                                         options.pictures) +
           demonstration::playDuplicate(window, options.pictures) +
           demonstration::showFileOperations(window, options.pictures) +
           demonstration::showInformation(window, options.pictures);
}

} // namespace

int main(int argc, char* argv[])
{
    // The user's own settings are neither read nor changed.
    const QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(settings.path()));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    // A desktop's own folder dialog could not be driven from here.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);

    QApplication application(argc, argv);
    const Options options = parseOptions(application);
    if (!settings.isValid() || !options.pictures.mkpath(QStringLiteral("."))) {
        std::fputs("quorvel_demo: the folder of the pictures or settings cannot be made\n", stderr);
        return EXIT_FAILURE;
    }

    if (!theme::apply(options.theme)) {
        std::fputs("quorvel_demo: the theme is light or dark\n", stderr);
        return EXIT_FAILURE;
    }

    MainWindow window;
    StepRunner runner(stepsFor(options, &window));
    QObject::connect(&runner, &StepRunner::finished, &window, &MainWindow::close);
    QObject::connect(&runner, &StepRunner::stuck, &application, [](const QString& title) {
        std::fprintf(stderr, "quorvel_demo: %s did not come to its end\n", qPrintable(title));
        QCoreApplication::exit(EXIT_FAILURE);
    });
    runner.start();
    return QApplication::exec();
}
