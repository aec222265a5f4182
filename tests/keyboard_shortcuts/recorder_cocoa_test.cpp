#include "keyboard_shortcuts/recorder_cocoa.h"

#include "bell_watcher.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/module_bundle.h"
#include "other_x11_client.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"
#include "user_defaults/user_defaults.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::xdotool;

namespace {

const Shortcut superShift2 = Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier);
const Name toggle(u"toggleUnicornMode"_s, superShift2);
const Name other(u"other"_s);

std::optional<QString> storedJson(const Name &name)
{
    return UserDefaults::standard().string(name.defaultsKey());
}

void clickAt(QPoint global)
{
    QVERIFY(xdotool({"mousemove", QString::number(global.x()), QString::number(global.y())}));
    QVERIFY(xdotool({"click", "1"}));
}

QMessageBox *openAlert()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            return box;
    }
    return nullptr;
}

} // namespace

// A settings-like window: a checkbox, the recorder and a button, driven by real key presses and clicks.
class RecorderCocoaTest : public QObject {
    Q_OBJECT

private:
    int m_hotKeyFired = 0;
    std::vector<std::optional<Shortcut>> m_changes;
    std::unique_ptr<QWidget> m_window;
    QCheckBox *m_before = nullptr;
    RecorderCocoa *m_recorder = nullptr;
    QPushButton *m_after = nullptr;
    QMenu m_menu;

    QPoint recorderCenter() const { return m_recorder->mapToGlobal(m_recorder->rect().center()); }

    void startRecording()
    {
        clickAt(recorderCenter());
        QTRY_VERIFY(m_recorder->isRecording());
        QVERIFY(isPaused());
    }

private slots:
    void initTestCase()
    {
        install();
        addKeyUpAction(toggle, [this] { ++m_hotKeyFired; });
        m_menu.addAction(u"&Quit\tSuper+Q"_s);
        setMainMenu(&m_menu);

        m_window = std::make_unique<QWidget>();
        m_window->setGeometry(100, 100, 400, 120);
        m_before = new QCheckBox(u"Before"_s, m_window.get());
        m_before->setGeometry(10, 10, 150, 26);
        m_recorder = new RecorderCocoa(
            toggle, [this](std::optional<Shortcut> shortcut) { m_changes.push_back(shortcut); }, m_window.get());
        m_recorder->setGeometry(194, 10, 150, 26);
        m_after = new QPushButton(u"After"_s, m_window.get());
        m_after->setGeometry(10, 60, 150, 30);
        m_window->show();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    void init()
    {
        storeShortcut(superShift2, toggle);
        m_changes.clear();
        m_hotKeyFired = 0;
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_before->setFocus();
        QTRY_VERIFY(!m_recorder->isRecording());
    }

    void cleanup()
    {
        if (QMessageBox *alert = openAlert())
            alert->reject();
        m_before->setFocus();
    }

    void aFreshWindowDoesNotRecordByItself()
    {
        QWidget window;
        RecorderCocoa recorder(other, {}, &window);
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTest::qWait(200);
        QVERIFY(!recorder.isRecording());
        QVERIFY(!isPaused());
        // Once the window has settled, a click starts recording.
        clickAt(recorder.mapToGlobal(recorder.rect().center()));
        QTRY_VERIFY(recorder.isRecording());
        m_window->activateWindow();
        QTRY_VERIFY(!recorder.isRecording());
    }

    void showsTheStoredShortcutAndFollowsChangesOfItsName()
    {
        QCOMPARE(m_recorder->text(), u"Super+Shift+2"_s);
        QCOMPARE(m_recorder->placeholderText(), ModuleBundle::shared().localized("record_shortcut"));
        storeShortcut(Shortcut::fromKey(Key::j, Qt::ControlModifier), toggle);
        QCOMPARE(m_recorder->text(), u"Ctrl+J"_s);
        storeShortcut(Shortcut::fromKey(Key::k, Qt::ControlModifier), other);
        QCOMPARE(m_recorder->text(), u"Ctrl+J"_s);
        storeShortcut(std::nullopt, toggle);
        QCOMPARE(m_recorder->text(), QString());

        m_recorder->setShortcutName(other);
        QCOMPARE(m_recorder->text(), u"Ctrl+K"_s);
        m_recorder->setShortcutName(toggle);
        QCOMPARE(m_recorder->text(), QString());
        QVERIFY(m_changes.empty());
    }

    void acceptsACombinationStoresItAndEnds()
    {
        QSignalSpy posted(&notifications(), &ShortcutNotifications::shortcutByNameDidChange);
        BellWatcher bells;
        startRecording();
        QCOMPARE(m_recorder->placeholderText(), ModuleBundle::shared().localized("press_shortcut"));
        // Modifiers pressed one by one on their way to the combination are no combination yet.
        for (const char *key : {"ctrl", "alt", "k"})
            QVERIFY(xdotool({"keydown", key}));
        for (const char *key : {"k", "alt", "ctrl"})
            QVERIFY(xdotool({"keyup", key}));
        QTRY_VERIFY(!m_recorder->isRecording());
        QCOMPARE(storedJson(toggle), std::optional(u"{\"carbonKeyCode\":40,\"carbonModifiers\":6144}"_s));
        QCOMPARE(m_recorder->text(), u"Ctrl+Alt+K"_s);
        QCOMPARE(m_changes,
                 std::vector{std::optional(Shortcut::fromKey(Key::k, Qt::ControlModifier | Qt::AltModifier))});
        QCOMPARE(posted.count(), 1);
        QCOMPARE(bells.count(), 0);
        QVERIFY(!isPaused());
        QVERIFY(!m_recorder->hasFocus());
    }

    void aFunctionKeyAloneIsAccepted()
    {
        startRecording();
        QVERIFY(xdotool({"key", "F5"}));
        QTRY_VERIFY(!m_recorder->isRecording());
        QCOMPARE(storedShortcut(toggle), std::optional(Shortcut::fromKey(Key::f5, {})));
    }

    void escapeEndsRecordingAndKeepsTheShortcut()
    {
        startRecording();
        QVERIFY(xdotool({"key", "Escape"}));
        QTRY_VERIFY(!m_recorder->isRecording());
        QCOMPARE(storedShortcut(toggle), std::optional(superShift2));
        QVERIFY(m_changes.empty());
        QVERIFY(!m_after->hasFocus() && !m_before->hasFocus());
    }

    void tabMovesTheFocusOn()
    {
        startRecording();
        QVERIFY(xdotool({"key", "Tab"}));
        QTRY_VERIFY(m_after->hasFocus());
        QVERIFY(!m_recorder->isRecording());
        QCOMPARE(storedShortcut(toggle), std::optional(superShift2));
    }

    void theDeleteKeysClearAndRecordingGoesOn_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("BackSpace") << u"BackSpace"_s;
        QTest::newRow("Delete") << u"Delete"_s;
    }
    void theDeleteKeysClearAndRecordingGoesOn()
    {
        QFETCH(QString, key);
        startRecording();
        QVERIFY(xdotool({"key", key}));
        QTRY_COMPARE(m_recorder->text(), QString());
        QCOMPARE(storedShortcut(toggle), std::nullopt);
        QCOMPARE(m_changes, std::vector<std::optional<Shortcut>>{std::nullopt});
        QVERIFY(m_recorder->isRecording());
        // The next combination is taken at once.
        QVERIFY(xdotool({"key", "ctrl+shift+y"}));
        QTRY_COMPARE(storedShortcut(toggle),
                     std::optional(Shortcut::fromKey(Key::y, Qt::ControlModifier | Qt::ShiftModifier)));
    }

    void theClearButtonClearsAndStartsRecording()
    {
        const QList<QAction *> actions = m_recorder->actions();
        QCOMPARE(actions.size(), 1);
        QVERIFY(actions.first()->isVisible());
        actions.first()->trigger();
        QCOMPARE(storedShortcut(toggle), std::nullopt);
        QVERIFY(!actions.first()->isVisible());
        QTRY_VERIFY(m_recorder->isRecording());
    }

    void keysThatMakeNoShortcutBeepAndRecordingGoesOn_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("a letter alone") << u"k"_s;
        QTest::newRow("Shift and a letter") << u"shift+k"_s;
        QTest::newRow("Shift-Escape is not Escape") << u"shift+Escape"_s;
        QTest::newRow("Return alone") << u"Return"_s;
    }
    void keysThatMakeNoShortcutBeepAndRecordingGoesOn()
    {
        QFETCH(QString, key);
        BellWatcher bells;
        startRecording();
        QVERIFY(xdotool({"key", key}));
        QTRY_COMPARE(bells.count(), 1);
        QVERIFY(m_recorder->isRecording());
        QCOMPARE(storedShortcut(toggle), std::optional(superShift2));
        QVERIFY(m_changes.empty());
    }

    void aMenuItemsCombinationIsRefusedNamingTheItem()
    {
        startRecording();
        QVERIFY(xdotool({"key", "super+q"}));
        QTRY_VERIFY(openAlert());
        QMessageBox *alert = openAlert();
        QCOMPARE(alert->text(), ModuleBundle::shared().localized("keyboard_shortcut_used_by_menu_item").arg(u"Quit"_s));
        QVERIFY(alert->informativeText().isEmpty());
        QCOMPARE(alert->windowModality(), Qt::WindowModal);
        QVERIFY(!m_recorder->isRecording());
        QCOMPARE(storedShortcut(toggle), std::optional(superShift2));
        // Closing the alert starts recording again.
        QAbstractButton *ok = alert->button(QMessageBox::Ok);
        clickAt(ok->mapToGlobal(ok->rect().center()));
        QTRY_VERIFY(!openAlert());
        QTRY_VERIFY(m_recorder->isRecording());
        QVERIFY(m_changes.empty());
    }

    void aCombinationAnotherProgramHoldsIsRefused()
    {
        OtherClient holder;
        const std::uint16_t controlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
        QVERIFY(holder.grab(45 /* k */, controlAlt));
        startRecording();
        QVERIFY(xdotool({"key", "ctrl+alt+k"}));
        QTRY_VERIFY(openAlert());
        QCOMPARE(openAlert()->text(), ModuleBundle::shared().localized("keyboard_shortcut_used_by_system"));
        QCOMPARE(openAlert()->informativeText(), ModuleBundle::shared().localized("keyboard_shortcuts_can_be_changed"));
        QCOMPARE(storedShortcut(toggle), std::optional(superShift2));
        QVERIFY(m_changes.empty());
    }

    void theHotKeyIsPausedWhileRecording()
    {
        // The program's own shortcut pressed while recording is recorded, not run.
        startRecording();
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_VERIFY(!m_recorder->isRecording());
        QCOMPARE(storedShortcut(toggle), std::optional(superShift2));
        settle();
        QCOMPARE(m_hotKeyFired, 0);
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(m_hotKeyFired, 1);
    }

    void aRecorderDroppedWhileRecordingGivesTheKeyboardBack()
    {
        auto dropped = std::make_unique<RecorderCocoa>(other, nullptr, m_window.get());
        dropped->setGeometry(194, 60, 150, 26);
        dropped->show();
        QTest::qWait(50); // able to take the focus
        clickAt(dropped->mapToGlobal(dropped->rect().center()));
        QTRY_VERIFY(dropped->isRecording());
        dropped.reset();
        QVERIFY(!isPaused());
        QCoreApplication::processEvents(); // Qt sends the ungrab to the server when its event loop next runs
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(m_hotKeyFired, 1);
    }

    void aClickJustOutsideKeepsRecordingAFartherOneEndsIt()
    {
        startRecording();
        const QPoint bottomRight = m_recorder->mapToGlobal(QPoint(m_recorder->width(), m_recorder->height()));
        clickAt(bottomRight + QPoint(2, 2));
        settle();
        QVERIFY(m_recorder->isRecording());
        clickAt(bottomRight + QPoint(20, 20));
        QTRY_VERIFY(!m_recorder->isRecording());
        QVERIFY(!isPaused());
    }
};

SCRIVLET_X11_TEST_MAIN(RecorderCocoaTest)
#include "recorder_cocoa_test.moc"
