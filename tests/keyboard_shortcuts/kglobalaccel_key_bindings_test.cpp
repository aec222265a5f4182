#include "keyboard_shortcuts/desktop/kglobalaccel_key_bindings.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "support/private_session_bus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryFile>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;
constexpr std::int64_t option = CarbonModifier::option;
constexpr std::int64_t control = CarbonModifier::control;

QJsonArray chords(std::initializer_list<QKeyCombination> combinations)
{
    QJsonArray array;
    for (const QKeyCombination combination : combinations)
        array.append(combination.toCombined());
    return array;
}

QJsonArray sequences(std::initializer_list<QJsonArray> sequences)
{
    QJsonArray array;
    for (const QJsonArray &sequence : sequences)
        array.append(sequence);
    return array;
}

QJsonObject action(const QString &name, std::initializer_list<QJsonArray> keys,
                   std::initializer_list<QJsonArray> defaultKeys = {})
{
    return {{u"action"_s, name}, {u"keys"_s, sequences(keys)}, {u"defaultKeys"_s, sequences(defaultKeys)}};
}

// Two components, and in them every kind of entry the service gives.
QJsonObject components()
{
    return {
        {u"kwin"_s,
         QJsonArray{
             action(u"Expose"_s, {chords({Qt::MetaModifier | Qt::Key_F9})}),
             action(u"Window Close"_s, {}, {chords({Qt::AltModifier | Qt::Key_F4})}),
             action(u"Cleared"_s, {chords({QKeyCombination::fromCombined(0)})},
                    {chords({Qt::MetaModifier | Qt::Key_F10})}),
             action(u"Two chords"_s, {chords({Qt::MetaModifier | Qt::Key_F11, Qt::Key_A})}),
             action(u"Two shortcuts"_s, {chords({Qt::ControlModifier | Qt::Key_F1}),
                                         chords({Qt::ControlModifier | Qt::AltModifier | Qt::Key_F2})}),
             action(u"Group switch"_s, {chords({Qt::MetaModifier | Qt::GroupSwitchModifier | Qt::Key_F3})}),
             action(u"Print first"_s, {chords({Qt::Key_Print}), chords({Qt::MetaModifier | Qt::Key_F5})}),
         }},
        {u"plasmashell"_s, QJsonArray{action(u"activate application launcher"_s,
                                             {chords({Qt::MetaModifier | Qt::ShiftModifier | Qt::Key_S})})}},
    };
}

// The stand-in service in a process of its own, for as long as this object lives.
class StandIn {
public:
    [[nodiscard]] static std::unique_ptr<StandIn> start(const QString &shortcutsFile, const QStringList &options = {})
    {
        std::unique_ptr<StandIn> standIn(new StandIn);
        standIn->m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        standIn->m_process.start(QStringLiteral(KGLOBALACCEL_STAND_IN), QStringList{shortcutsFile} + options);
        if (!standIn->m_process.waitForStarted(5000))
            return nullptr;
        return standIn;
    }
    ~StandIn()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(3000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }
    StandIn(const StandIn &) = delete;
    StandIn &operator=(const StandIn &) = delete;

private:
    StandIn() = default;
    QProcess m_process;
};

bool serviceIsUp()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.kde.kglobalaccel"_s);
}

} // namespace

class KGlobalAccelKeyBindingsTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    QTemporaryFile m_shortcutsFile;
    std::unique_ptr<StandIn> m_standIn;
    std::unique_ptr<DesktopKeyBindings> m_bindings = makeKGlobalAccelKeyBindings();
    std::unique_ptr<KeyboardLayout> m_layout = makeUsKeyboardLayout();

    std::vector<Shortcut> bindings() const { return m_bindings->enabledBindings(KeyNames(*m_layout)); }

private slots:
    void initTestCase()
    {
        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY(m_bus);
        QVERIFY(m_shortcutsFile.open());
        m_shortcutsFile.write(QJsonDocument(components()).toJson());
        QVERIFY(m_shortcutsFile.flush());
    }

    void cleanupTestCase() { m_standIn.reset(); }

    void onlyActiveSingleChordShortcutsCount_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<bool>("reported");
        QTest::newRow("an active shortcut counts") << Shortcut{Key::f9.rawValue, command} << true;
        QTest::newRow("a default that is not active does not count") << Shortcut{Key::f4.rawValue, option} << false;
        QTest::newRow("a cleared shortcut's default does not count") << Shortcut{Key::f10.rawValue, command} << false;
        QTest::newRow("a two-chord sequence does not take its first chord")
            << Shortcut{Key::f11.rawValue, command} << false;
        QTest::newRow("the first of two shortcuts counts") << Shortcut{Key::f1.rawValue, control} << true;
        QTest::newRow("the second of two shortcuts counts") << Shortcut{Key::f2.rawValue, control | option} << true;
        QTest::newRow("a modifier beyond the four is dropped") << Shortcut{Key::f3.rawValue, command} << true;
        QTest::newRow("a key without a Key is skipped, the next counts") << Shortcut{Key::f5.rawValue, command} << true;
        QTest::newRow("another component's shortcut counts") << Shortcut{Key::s.rawValue, command | shift} << true;
    }
    void onlyActiveSingleChordShortcutsCount()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(bool, reported);
        if (!m_standIn) {
            m_standIn = StandIn::start(m_shortcutsFile.fileName());
            QVERIFY(m_standIn);
            QTRY_VERIFY(serviceIsUp());
        }
        const std::vector<Shortcut> found = bindings();
        QCOMPARE(std::ranges::find(found, shortcut) != found.end(), reported);
    }

    // Older services answer allShortcutInfos only, with the first chord of each sequence.
    void withoutShortcutKeysTheFirstChordsCount()
    {
        m_standIn.reset();
        QTRY_VERIFY(!serviceIsUp());
        const auto standIn = StandIn::start(m_shortcutsFile.fileName(), {u"--without-shortcut-keys"_s});
        QVERIFY(standIn);
        QTRY_VERIFY(serviceIsUp());
        const std::vector<Shortcut> found = bindings();
        QVERIFY(std::ranges::find(found, Shortcut{Key::f9.rawValue, command}) != found.end());
        QVERIFY(std::ranges::find(found, Shortcut{Key::f4.rawValue, option}) == found.end());
    }

    void noServiceMeansNoBindings()
    {
        m_standIn.reset();
        QTRY_VERIFY(!serviceIsUp());
        QVERIFY(bindings().empty());
    }
};

QTEST_GUILESS_MAIN(KGlobalAccelKeyBindingsTest)
#include "kglobalaccel_key_bindings_test.moc"
