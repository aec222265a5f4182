#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(KeyboardShortcutsPlugin)

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::xdotool;

namespace {

const Name first(u"first"_s);
const Name second(u"second"_s);

constexpr auto scene = R"(
import QtQuick
import QtQuick.Controls
import KeyboardShortcuts

ApplicationWindow {
    width: 500
    height: 200
    visible: true
    Column {
        Recorder { objectName: "plain"; name: "first" }
        Recorder { objectName: "short"; name: "second"; title: "Grab:" }
        Recorder { objectName: "long"; name: "third"; title: "A label that is much longer:" }
    }
}
)";

QQuickItem *fieldOf(QQuickItem *recorder)
{
    return recorder->findChild<QQuickItem *>(u"recorderField"_s);
}

} // namespace

class QuickRecorderTest : public QObject {
    Q_OBJECT

private:
    QQmlEngine m_engine;
    std::unique_ptr<QQuickWindow> m_window;
    QQuickItem *m_plain = nullptr;
    QQuickItem *m_short = nullptr;
    QQuickItem *m_long = nullptr;

private slots:
    void initTestCase()
    {
        install();
        storeShortcut(Shortcut::fromKey(Key::j, Qt::ControlModifier), first);
        storeShortcut(Shortcut::fromKey(Key::two, Qt::MetaModifier | Qt::ShiftModifier), second);
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        QQmlComponent component(&m_engine);
        component.setData(scene, QUrl());
        m_window.reset(qobject_cast<QQuickWindow *>(component.create()));
        QVERIFY2(m_window, qPrintable(component.errorString()));
        m_plain = m_window->findChild<QQuickItem *>(u"plain"_s);
        m_short = m_window->findChild<QQuickItem *>(u"short"_s);
        m_long = m_window->findChild<QQuickItem *>(u"long"_s);
        QVERIFY(m_plain && m_short && m_long);
        m_window->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    void showsTheShortcutOfTheNameItIsGiven()
    {
        QQuickItem *field = fieldOf(m_plain);
        QCOMPARE(field->property("text").toString(), u"Ctrl+J"_s);
        m_plain->setProperty("name", second.rawValue);
        QCOMPARE(field->property("text").toString(), u"Super+Shift+2"_s);
        m_plain->setProperty("name", u"nothing stored"_s);
        QCOMPARE(field->property("text").toString(), QString());
        m_plain->setProperty("name", first.rawValue);
        QCOMPARE(field->property("text").toString(), u"Ctrl+J"_s);
        // The same field throughout, following changes stored elsewhere.
        QCOMPARE(fieldOf(m_plain), field);
        storeShortcut(Shortcut::fromKey(Key::u, Qt::ControlModifier), first);
        QCOMPARE(field->property("text").toString(), u"Ctrl+U"_s);
    }

    void withoutLabelOnlyTheFieldWithALabelTheFieldsLineUp()
    {
        QCOMPARE(fieldOf(m_plain)->mapToItem(m_plain, QPointF(0, 0)).x(), 0.0);
        QCOMPARE(m_plain->implicitWidth(), fieldOf(m_plain)->implicitWidth());
        const qreal shortField = fieldOf(m_short)->mapToScene(QPointF(0, 0)).x();
        const qreal longField = fieldOf(m_long)->mapToScene(QPointF(0, 0)).x();
        QVERIFY(shortField > 0);
        QCOMPARE(shortField, longField);
        // The longer label decides where both fields begin.
        QVERIFY(longField > fieldOf(m_plain)->implicitWidth());
    }

    void recordsWithTheSameLogicAsTheWidget()
    {
        QSignalSpy changes(m_short, SIGNAL(change(QVariant)));
        QQuickItem *field = fieldOf(m_short);
        const QPointF center = field->mapToScene(QPointF(field->width() / 2, field->height() / 2));
        const QPoint global = m_window->mapToGlobal(center.toPoint());
        QVERIFY(xdotool({"mousemove", QString::number(global.x()), QString::number(global.y())}));
        QVERIFY(xdotool({"click", "1"}));
        QTRY_VERIFY(isPaused());
        QVERIFY(xdotool({"key", "ctrl+alt+k"}));
        QTRY_COMPARE(changes.count(), 1);
        QVERIFY(!isPaused());
        const QVariantMap shortcut = changes.first().first().toMap();
        QCOMPARE(shortcut.value(u"carbonKeyCode"_s).toLongLong(), 40);
        QCOMPARE(shortcut.value(u"carbonModifiers"_s).toLongLong(), 6144);
        QCOMPARE(storedShortcut(second), std::optional(Shortcut{40, 6144}));
        QCOMPARE(field->property("text").toString(), u"Ctrl+Alt+K"_s);
        QVERIFY(!field->hasActiveFocus());
    }
};

SCRIVLET_X11_TEST_MAIN(QuickRecorderTest)
#include "quick_recorder_test.moc"
