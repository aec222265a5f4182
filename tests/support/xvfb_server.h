#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace TestSupport {

// A private X server for one test binary: started on a free display, killed when dropped.
// Also gives the process a throw-away XDG environment so that nothing touches the user's files.
class XvfbServer {
public:
    // Empty when Xvfb is not installed or does not come up.
    [[nodiscard]] static std::unique_ptr<XvfbServer> start(const QString &screen = QStringLiteral("1280x800x24"));
    ~XvfbServer();
    XvfbServer(const XvfbServer &) = delete;
    XvfbServer &operator=(const XvfbServer &) = delete;

    QString display() const { return m_display; }

private:
    XvfbServer() = default;
    QProcess m_process;
    QString m_display;
};

// Points XDG_CONFIG_HOME, XDG_DATA_HOME, XDG_CACHE_HOME and XDG_RUNTIME_DIR at fresh temporary directories.
class IsolatedXdgEnvironment {
public:
    IsolatedXdgEnvironment();
    QString root() const { return m_root.path(); }
    QString configHome() const { return m_root.path() + QStringLiteral("/config"); }
    QString runtimeDir() const { return m_root.path() + QStringLiteral("/runtime"); }

private:
    QTemporaryDir m_root;
};

} // namespace TestSupport

// main() for test classes that need a real X server: starts Xvfb before the QApplication connects.
#define SCRIVLET_X11_TEST_MAIN(TestObject)                                                                             \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        TestSupport::IsolatedXdgEnvironment xdg;                                                                       \
        auto server = TestSupport::XvfbServer::start();                                                                \
        if (!server)                                                                                                   \
            qFatal("Xvfb could not be started");                                                                       \
        qputenv("QT_QPA_PLATFORM", "xcb");                                                                             \
        QApplication app(argc, argv);                                                                                  \
        TestObject tc;                                                                                                 \
        QTEST_SET_MAIN_SOURCE_PATH                                                                                     \
        return QTest::qExec(&tc, argc, argv);                                                                          \
    }
