#include "app/settings_window_controller.h"

#include "../keyboard_shortcuts/other_x11_client.h"
#include "app/grab_command.h"
#include "app/preferences.h"
#include "app/settings_window_layout.h"
#include "app/shortcut_names.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/recorder_cocoa.h"
#include "launch_at_login/launch_at_login.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"
#include "user_defaults/user_defaults.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QScreen>
#include <QTest>
#include <QWindow>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::xdotool;

namespace {

const QString ignoreLineBreaksKey = u"IgnoreLineBreaks"_s;

// Clicks a checkbox's box on the X server, whose pixels are the scaled ones: a check box takes clicks on its box
// and its text only.
void click(const QCheckBox *box)
{
    const qreal scale = box->devicePixelRatioF();
    const QPoint point = box->mapToGlobal(QPoint(8, box->height() / 2)) * scale;
    QVERIFY(xdotool({"mousemove", QString::number(point.x()), QString::number(point.y())}));
    QVERIFY(xdotool({"click", "1"}));
}

bool differs(QRgb pixel, QRgb background)
{
    return std::abs(qRed(pixel) - qRed(background)) + std::abs(qGreen(pixel) - qGreen(background)) +
               std::abs(qBlue(pixel) - qBlue(background)) >
           24;
}

// The first and last row, in points, where a column of the shot differs from the background, between two rows.
std::optional<std::pair<int, int>> inkRows(const QImage &shot, qreal scale, int x, int top, int bottom, QRgb background)
{
    std::optional<std::pair<int, int>> rows;
    const int column = qRound(x * scale);
    for (int row = qRound(top * scale); row < std::min(qRound(bottom * scale), shot.height()); ++row) {
        if (!differs(shot.pixel(column, row), background))
            continue;
        const int y = qFloor(row / scale);
        rows = rows ? std::pair(rows->first, y) : std::pair(y, y);
    }
    return rows;
}

// The first column, in points, where a row of the shot differs from the background, searching right from `from`.
std::optional<int> firstInkColumn(const QImage &shot, qreal scale, int y, int from, QRgb background)
{
    const int row = qRound(y * scale);
    for (int column = qRound(from * scale); column < shot.width(); ++column) {
        if (differs(shot.pixel(column, row), background))
            return qFloor(column / scale);
    }
    return std::nullopt;
}

} // namespace

class SettingsWindowControllerTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<SettingsWindowController> m_controller;

    QCheckBox *launchAtLoginCheckBox() const
    {
        return m_controller->window()->findChild<QCheckBox *>(u"launchAtLoginCheckBox"_s);
    }
    QLabel *hintLabel() const { return m_controller->window()->findChild<QLabel *>(u"shortcutHintLabel"_s); }

private slots:
    void initTestCase()
    {
        install();
        // As the application does: the capture shortcut is grabbed while something listens to it.
        addKeyUpAction(toggleUnicornMode(), [] {});
        m_controller = std::make_unique<SettingsWindowController>(Platform::DisplayServer::x11);
    }

    void init()
    {
        m_controller->showWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_controller->window()));
    }

    void theRecorderSitsAtItsFrameConvertedOnce()
    {
        QCOMPARE(SettingsWindowLayout::toTopLeftOrigin(QRect(194, 170, 150, 26), 216), QRect(194, 20, 150, 26));
        QCOMPARE(SettingsWindowLayout::toTopLeftOrigin(QRect(0, 0, 10, 10), 100), QRect(0, 90, 10, 10));
        QCOMPARE(SettingsWindowLayout::recorderFrame(),
                 QRect(194, SettingsWindowLayout::contentSize.height() - 196, 150, 26));
    }

    void aFreshWindowShowsTheStoredValuesAndDoesNotRecord()
    {
        UserDefaults::standard().remove(ignoreLineBreaksKey);
        SettingsWindowController fresh(Platform::DisplayServer::x11);
        QVERIFY(!fresh.window());
        fresh.showWindow();
        QWidget *window = fresh.window();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QCOMPARE(window->windowTitle(), u"Scrivlet Settings"_s);
        QCOMPARE(window->minimumSize(), window->maximumSize()); // not resizable
        QCOMPARE(fresh.recorder()->geometry(), SettingsWindowLayout::recorderFrame());
        QCOMPARE(fresh.recorder()->text(), u"Super+Shift+2"_s);
        QVERIFY(!fresh.ignoreLineBreaksCheckBoxButton()->isChecked());
        QVERIFY(!window->findChild<QCheckBox *>(u"launchAtLoginCheckBox"_s)->isChecked());
        QTest::qWait(300);
        QVERIFY(!fresh.recorder()->isRecording());
        QVERIFY(!isPaused());
    }

    void openingAgainRaisesTheOneWindow()
    {
        QWidget *window = m_controller->window();
        window->hide();
        QVERIFY(!window->isVisible());
        m_controller->showWindow();
        QCOMPARE(m_controller->window(), window);
        QVERIFY(QTest::qWaitForWindowActive(window));
    }

    void ignoreLineBreaksIsStoredAtOnce()
    {
        QCheckBox *box = m_controller->ignoreLineBreaksCheckBoxButton();
        click(box);
        QTRY_VERIFY(UserDefaults::standard().boolean(ignoreLineBreaksKey));
        click(box);
        QTRY_VERIFY(!UserDefaults::standard().boolean(ignoreLineBreaksKey));
        QVERIFY(UserDefaults::standard().contains(ignoreLineBreaksKey));
        // A value another program stored shows when the window opens again.
        UserDefaults::standard().setBoolean(ignoreLineBreaksKey, true);
        m_controller->showWindow();
        QVERIFY(box->isChecked());
    }

    // The machine's own models: English, German, French, Spanish and Russian are installed by the test set-up.
    void theRecognitionLanguageIsChosenAndAMissingOneNamesItsPackage()
    {
        UserDefaults standard = UserDefaults::standard();
        const auto restore = qScopeGuard([&standard] { setRecognitionLanguages(standard, {}); });
        setRecognitionLanguages(standard, {});
        m_controller->showWindow();
        QComboBox *box = m_controller->languageComboBox();
        QLabel *note = m_controller->window()->findChild<QLabel *>(u"languageNoteLabel"_s);
        QCOMPARE(box->currentText(), u"Automatic"_s);
        QVERIFY(note->text().isEmpty());
        const auto choose = [box](const QString &text) {
            const int index = box->findText(text);
            QVERIFY2(index >= 0, qPrintable(text));
            box->setCurrentIndex(index);
            emit box->activated(index);
        };

        choose(u"German"_s);
        QCOMPARE(recognitionLanguages(standard), QStringList{u"deu"_s});
        choose(u"Italian (not installed)"_s);
        QCOMPARE(recognitionLanguages(standard), QStringList{u"ita"_s});
        QVERIFY2(note->toolTip().contains(u"tesseract-ocr-ita"_s), qPrintable(note->toolTip()));
        choose(u"Automatic"_s);
        QVERIFY(!standard.contains(u"RecognitionLanguages"_s));
        QVERIFY(note->text().isEmpty());

        // A choice of several, made elsewhere, shows its first language and the others below.
        setRecognitionLanguages(standard, {u"fra"_s, u"deu"_s});
        m_controller->showWindow();
        QCOMPARE(box->currentText(), u"French"_s);
        QCOMPARE(note->toolTip(), u"Then: German"_s);
    }

    void launchAtLoginIsBoundBothWays()
    {
        QCheckBox *box = launchAtLoginCheckBox();
        const auto restore = qScopeGuard([] { LaunchAtLogin::setEnabled(false); });
        QVERIFY(!LaunchAtLogin::isEnabled());
        click(box);
        QTRY_VERIFY(LaunchAtLogin::isEnabled());
        QVERIFY(box->isChecked());
        QVERIFY(!QDir(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/autostart"_s)
                     .entryList({u"*.desktop"_s}, QDir::Files)
                     .isEmpty());
        // A change made through the module elsewhere shows at once.
        LaunchAtLogin::setEnabled(false);
        QVERIFY(!box->isChecked());
        LaunchAtLogin::setEnabled(true);
        QVERIFY(box->isChecked());
    }

    void theHintSaysWhenAnotherProgramHoldsTheShortcut()
    {
        const auto restore = qScopeGuard([] { resetToDefaults({toggleUnicornMode()}); });
        QVERIFY(hintLabel()->text().isEmpty());
        OtherClient holder;
        QVERIFY(holder.grab(43 /* h */, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1));
        storeShortcut(Shortcut::fromKey(Key::h, Qt::ControlModifier | Qt::AltModifier), toggleUnicornMode());
        QCOMPARE(hintLabel()->text(), shortcutHint(true, false, Platform::DisplayServer::x11, QString()).text);
        QVERIFY(!hintLabel()->text().isEmpty());
        storeShortcut(Shortcut::fromKey(Key::j, Qt::ControlModifier | Qt::AltModifier), toggleUnicornMode());
        QVERIFY(hintLabel()->text().isEmpty());
    }

    void theHintNamesWhatIsMissing_data()
    {
        QTest::addColumn<bool>("hasShortcut");
        QTest::addColumn<bool>("isRegistered");
        QTest::addColumn<Platform::DisplayServer>("displayServer");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("text");
        const QString command = u"scrivlet scrivlet:///_Grab_"_s;
        QTest::newRow("a working shortcut needs no hint")
            << true << true << Platform::DisplayServer::x11 << command << QString();
        QTest::newRow("no shortcut needs no hint")
            << false << false << Platform::DisplayServer::wayland << command << QString();
        QTest::newRow("bound by the desktop on Wayland: no hint")
            << true << true << Platform::DisplayServer::wayland << command << QString();
        QTest::newRow("refused on X11: another program")
            << true << false << Platform::DisplayServer::x11 << command << u"In use by another program."_s;
        QTest::newRow("no way on Wayland: the command to bind")
            << true << false << Platform::DisplayServer::wayland << command << u"Bind: scrivlet scrivlet:///_Grab_"_s;
        QTest::newRow("no way on Wayland and no command")
            << true << false << Platform::DisplayServer::wayland << QString() << u"Works in X11 sessions only."_s;
    }
    void theHintNamesWhatIsMissing()
    {
        QFETCH(bool, hasShortcut);
        QFETCH(bool, isRegistered);
        QFETCH(Platform::DisplayServer, displayServer);
        QFETCH(QString, command);
        QFETCH(QString, text);
        const ShortcutHint hint = shortcutHint(hasShortcut, isRegistered, displayServer, command);
        QCOMPARE(hint.text, text);
        QCOMPARE(hint.details.isEmpty(), text.isEmpty());
        if (text.startsWith(u"Bind"))
            QVERIFY(hint.details.contains(command));
    }

    // Where no program may grab keys, the line names the command; it fits on the one line as it is.
    void aWaylandWindowShowsTheCommandToBind()
    {
        const auto restore = qScopeGuard([] {
            setDesktopCommand(toggleUnicornMode(), std::nullopt);
            resetToDefaults({toggleUnicornMode()});
        });
        setDesktopCommand(toggleUnicornMode(), grabCommand(u"/opt/bin/scrivlet"_s));
        // The window's own hot key service grabs on X11; one the tests cannot take proves nothing here, so a
        // combination another client holds stands for "no way to grab".
        OtherClient holder;
        QVERIFY(holder.grab(43 /* h */, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1));
        storeShortcut(Shortcut::fromKey(Key::h, Qt::ControlModifier | Qt::AltModifier), toggleUnicornMode());
        SettingsWindowController wayland(Platform::DisplayServer::wayland);
        wayland.showWindow();
        const QLabel *label = wayland.window()->findChild<QLabel *>(u"shortcutHintLabel"_s);
        QCOMPARE(label->text(), u"Bind: /opt/bin/scrivlet scrivlet:///_Grab_"_s);
        QVERIFY(label->toolTip().contains(u"“/opt/bin/scrivlet scrivlet:///_Grab_”"_s));
        QVERIFY(label->fontMetrics().horizontalAdvance(label->text()) <= label->width());
        // A long path gives way in the middle, and the tooltip keeps all of it.
        const QString longPath = u"/home/someone/projects/builds/scrivlet/release-with-debug-info/src/app/scrivlet"_s;
        setDesktopCommand(toggleUnicornMode(), grabCommand(longPath));
        wayland.showWindow();
        QVERIFY(label->text().startsWith(u"Bind: "_s));
        QVERIFY(label->text().endsWith(u"_Grab_"_s));
        QVERIFY(label->text().contains(QChar(0x2026)));
        QVERIFY(label->fontMetrics().horizontalAdvance(label->text()) <= label->width());
        QVERIFY(label->toolTip().contains(longPath + u" scrivlet:///_Grab_"_s));
    }

    // Kept beside the build as test-artefacts/settings-window-scale<N>.png.
    void theScreenShowsTheControlsWhereTheFormPutsThem()
    {
        QWidget *window = m_controller->window();
        QTest::qWait(100); // the first paint
        const QPixmap pixmap = window->screen()->grabWindow(window->winId());
        const qreal scale = pixmap.devicePixelRatio();
        const QImage shot = pixmap.toImage();
        const QString folder = qEnvironmentVariable("SCRIVLET_BINARY_DIR") + u"/test-artefacts"_s;
        QDir().mkpath(folder);
        QVERIFY(shot.save(folder + u"/settings-window-scale%1.png"_s.arg(qRound(scale))));
        QCOMPARE(shot.size(), window->size() * scale);

        const QRgb background = shot.pixel(qRound(4 * scale), qRound(4 * scale));
        const QRect recorder = SettingsWindowLayout::recorderFrame();
        // The recorder's frame begins at its left edge and spans its height.
        QCOMPARE(firstInkColumn(shot, scale, recorder.center().y(), recorder.left() - 8, background),
                 std::optional(recorder.left()));
        const auto recorderRows =
            inkRows(shot, scale, recorder.center().x(), recorder.top() - 3, recorder.bottom() + 3, background);
        QVERIFY(recorderRows);
        QCOMPARE(*recorderRows, std::pair(recorder.top(), recorder.bottom()));
        // Each checkbox's indicator begins at the left edge of its row and stays inside it.
        for (const QCheckBox *box : {launchAtLoginCheckBox(), m_controller->ignoreLineBreaksCheckBoxButton()}) {
            const QRect frame = box->geometry();
            const std::optional<int> left =
                firstInkColumn(shot, scale, frame.center().y(), frame.left() - 8, background);
            QVERIFY2(left && *left >= frame.left() && *left <= frame.left() + 4, qPrintable(box->objectName()));
            // Neighbouring rows are 4 points apart: ink up to 3 points beyond the row would be a misplaced box.
            const auto rows = inkRows(shot, scale, *left + 3, frame.top() - 3, frame.bottom() + 3, background);
            QVERIFY(rows);
            QVERIFY2(rows->first >= frame.top() && rows->second <= frame.bottom(), qPrintable(box->objectName()));
        }
    }
};

SCRIVLET_X11_TEST_MAIN(SettingsWindowControllerTest)
#include "settings_window_controller_test.moc"
