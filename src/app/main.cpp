#include "app/app_delegate.h"
#include "app/single_instance.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "platform/openmp_thread_limit.h"
#include "platform/platform.h"
#include "platform/private_directory.h"

#include <QApplication>
#include <QTimer>
#include <QUrl>

#include <csignal>
#include <cstdio>
#include <cstdlib>

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

} // namespace

int main(int argc, char **argv)
{
    // A launcher that has gone away (an autostart runner, a closed terminal) leaves standard output a broken pipe;
    // a diagnostic line must not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    Platform::restartWithSingleThreadedOpenMP(argv);

    const QList<QUrl> urls = urlsFromArguments(argc, argv);
    const std::optional<QString> runtimeDirectory = Platform::privateRuntimeDirectory();
    std::unique_ptr<SingleInstance> instance;
    if (runtimeDirectory) {
        instance = SingleInstance::claim(*runtimeDirectory);
        if (!instance) {
            // Another Scrivlet runs: hand it the requests without connecting to the display.
            QCoreApplication forwarder(argc, argv);
            if (urls.isEmpty() || SingleInstance::forward(*runtimeDirectory, urls))
                return EXIT_SUCCESS;
            std::fprintf(stderr, "scrivlet: another instance is running but does not answer\n");
            return EXIT_FAILURE;
        }
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("scrivlet"));
    QApplication::setApplicationDisplayName(QStringLiteral("Scrivlet"));
    QApplication::setApplicationVersion(QStringLiteral(SCRIVLET_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("scrivlet"));
    QApplication::setQuitOnLastWindowClosed(false);

    KeyboardShortcuts::install();
    AppDelegate delegate(Platform::detectServices(), runtimeDirectory.value_or(QString()));
    if (instance) {
        QObject::connect(instance.get(), &SingleInstance::urlsReceived, &delegate, &AppDelegate::openUrls);
        instance->listen();
    }
    delegate.applicationDidFinishLaunching();
    if (!urls.isEmpty())
        QTimer::singleShot(0, &delegate, [&delegate, urls] { delegate.openUrls(urls); });
    return app.exec();
}
