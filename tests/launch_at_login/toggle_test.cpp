#include "launch_at_login/launch_at_login.h"

#include "support/xvfb_server.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(LaunchAtLoginPlugin)

using namespace Qt::Literals::StringLiterals;

namespace {

QString userEntry()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME") + u"/autostart/scrivlet.desktop"_s;
}

} // namespace

class ToggleTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QQmlApplicationEngine> m_engine;

    // A window with one Toggle, written as the given QML; null when it does not load.
    QQuickItem *showToggle(const QByteArray &toggle)
    {
        m_engine = std::make_unique<QQmlApplicationEngine>();
        m_engine->loadData("import QtQuick\nimport LaunchAtLogin\nWindow { width: 320; height: 80; visible: true\n" +
                           toggle + "\n}");
        if (m_engine->rootObjects().isEmpty())
            return nullptr;
        auto *window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().first());
        if (!window || !QTest::qWaitForWindowExposed(window))
            return nullptr;
        return window->contentItem()->childItems().value(0);
    }

    void click(QQuickItem *toggle)
    {
        const QPointF centre = toggle->mapToScene(QPointF(toggle->width() / 2, toggle->height() / 2));
        QTest::mouseClick(toggle->window(), Qt::LeftButton, {}, centre.toPoint());
    }

private slots:
    void init()
    {
        QDir(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/autostart"_s).removeRecursively();
        QFile::remove(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/autostart"_s);
        LaunchAtLogin::setEnabled(false);
    }
    void cleanup() { m_engine.reset(); }

    void theLabelSaysWhatItDoes_data()
    {
        QTest::addColumn<QByteArray>("qml");
        QTest::addColumn<QString>("text");
        QTest::newRow("by default") << "Toggle {}"_ba << u"Launch at login"_s;
        QTest::newRow("or as the window says")
            << "Toggle { text: \"Start with the session\" }"_ba << u"Start with the session"_s;
    }
    void theLabelSaysWhatItDoes()
    {
        QFETCH(QByteArray, qml);
        QFETCH(QString, text);
        QQuickItem *toggle = showToggle(qml);
        QVERIFY(toggle);
        QCOMPARE(toggle->property("text").toString(), text);
    }

    void theBoxAndTheSystemAgree()
    {
        QQuickItem *toggle = showToggle("Toggle {}");
        QVERIFY(toggle);
        QCOMPARE(toggle->property("checked").toBool(), false);
        click(toggle);
        QVERIFY(QFile::exists(userEntry()));
        QVERIFY(LaunchAtLogin::isEnabled());
        QCOMPARE(toggle->property("checked").toBool(), true);
        LaunchAtLogin::setEnabled(false); // elsewhere, e.g. from a menu
        QTRY_COMPARE(toggle->property("checked").toBool(), false);
        LaunchAtLogin::kvo().setIsEnabled(true);
        QTRY_COMPARE(toggle->property("checked").toBool(), true);
        click(toggle);
        QVERIFY(!QFile::exists(userEntry()));
    }

    void aClickThatFailsLeavesTheBoxAsTheSystemIs()
    {
        QQuickItem *toggle = showToggle("Toggle {}");
        QVERIFY(toggle);
        QFile blocker(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/autostart"_s);
        QVERIFY(blocker.open(QIODevice::WriteOnly)); // no autostart folder can be made
        blocker.close();
        click(toggle);
        QVERIFY(!LaunchAtLogin::isEnabled());
        QTRY_COMPARE(toggle->property("checked").toBool(), false);
    }
};

int main(int argc, char **argv)
{
    TestSupport::IsolatedXdgEnvironment xdg;
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(xdg.root() + u"/system-config"_s));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(xdg.root() + u"/system-data"_s));
    // The offscreen platform has no OpenGL; Qt Quick draws in software there.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(u"scrivlet"_s);
    ToggleTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "toggle_test.moc"
