#include "app/app_delegate.h"
#include "app/grab_command.h"
#include "app/shortcut_names.h"
#include "app/single_instance.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "platform/openmp_thread_limit.h"
#include "platform/platform.h"
#include "platform/private_directory.h"
#include "platform/service_choice.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <QUrl>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <variant>

namespace {

QList<QUrl> urlsFromArguments(int argc, char **argv)
{
    QList<QUrl> urls;
    for (int i = 1; i < argc; ++i) {
        const QUrl url(QString::fromLocal8Bit(argv[i]), QUrl::StrictMode);
        if (url.isValid())
            urls.append(url);
        else
            std::fprintf(stderr, "scrivlet: ignoring %s: not a URL\n", argv[i]);
    }
    return urls;
}

bool asksForHelpOrVersion(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArrayView argument(argv[i]);
        if (argument == "--help" || argument == "-h" || argument == "--help-all" || argument == "--version" ||
            argument == "-v")
            return true;
    }
    return false;
}

// Prints the help or the version and ends the process, without a display.
[[noreturn]] void answerHelpOrVersion(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("scrivlet"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SCRIVLET_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Puts the text shown in any part of the screen on the clipboard; lives in the tray.\n"
                       "Started again, it hands its URLs to the running Scrivlet:\n"
                       "  scrivlet:///_Grab_            start a text capture\n"
                       "  scrivlet:///_ReadQRCode_      start a code capture\n"
                       "  scrivlet:///_clear-history_   empty the history"));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("urls"), QStringLiteral("Requests, as listed above."),
                                 QStringLiteral("[URL...]"));
    parser.process(app); // exits after --help or --version
    std::exit(EXIT_SUCCESS);
}

} // namespace

int main(int argc, char **argv)
{
    // Answered before anything needs a display or the runtime folder; every other argument is a URL.
    if (asksForHelpOrVersion(argc, argv))
        answerHelpOrVersion(argc, argv);
    // A launcher that has gone away (an autostart runner, a closed terminal) leaves standard output a broken pipe;
    // a diagnostic line must not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    Platform::restartWithSingleThreadedOpenMP(argv);

    const QList<QUrl> urls = urlsFromArguments(argc, argv);
    const std::variant<Platform::PrivateDirectory, Platform::NoPrivateDirectory> found =
        Platform::privateRuntimeDirectory();
    if (const auto *none = std::get_if<Platform::NoPrivateDirectory>(&found)) {
        // Without the directory no lock keeps a second instance out; none is better than two.
        std::fprintf(stderr, "scrivlet: %s\n", qPrintable(none->reason));
        return EXIT_FAILURE;
    }
    const QString runtimeDirectory = std::get<Platform::PrivateDirectory>(found).path;
    const std::unique_ptr<SingleInstance> instance = SingleInstance::claim(runtimeDirectory);
    if (!instance) {
        // Another Scrivlet runs: hand it the requests without connecting to the display.
        QCoreApplication forwarder(argc, argv);
        if (urls.isEmpty() || SingleInstance::forward(runtimeDirectory, urls))
            return EXIT_SUCCESS;
        std::fprintf(stderr,
                     "scrivlet: the running instance did not take the requests: it ended, or did not answer "
                     "within %lld s\n",
                     static_cast<long long>(SingleInstance::forwardTimeLimit.count()));
        return EXIT_FAILURE;
    }

    // The session picks Qt's platform plugin unless the user did; the programs we start pick their own.
    const QByteArray qtPlatform = Platform::qtPlatformFor(Platform::currentSession());
    const bool choosesQtPlatform = !qtPlatform.isEmpty() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    if (choosesQtPlatform)
        qputenv("QT_QPA_PLATFORM", qtPlatform);
    QApplication app(argc, argv);
    if (choosesQtPlatform)
        qunsetenv("QT_QPA_PLATFORM");
    QApplication::setApplicationName(QStringLiteral("scrivlet"));
    QApplication::setApplicationDisplayName(QStringLiteral("Scrivlet"));
    QApplication::setApplicationVersion(QStringLiteral(SCRIVLET_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("scrivlet"));
    QApplication::setQuitOnLastWindowClosed(false);
    // Before the slow set-up below (the recognition engines start there), so that a second start made meanwhile
    // reaches us; what it sends is held until the delegate is ready.
    instance->listen();

    KeyboardShortcuts::install();
    KeyboardShortcuts::setDesktopCommand(toggleUnicornMode(), grabCommand(QCoreApplication::applicationFilePath()));
    AppDelegate delegate(Platform::detectServices(), runtimeDirectory);
    QObject::connect(instance.get(), &SingleInstance::urlsReceived, &delegate, &AppDelegate::openUrls);
    delegate.applicationDidFinishLaunching();
    if (!urls.isEmpty())
        QTimer::singleShot(0, &delegate, [&delegate, urls] { delegate.openUrls(urls); });
    instance->deliverRequests();
    return app.exec();
}
