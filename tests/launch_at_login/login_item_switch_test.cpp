#include "launch_at_login/login_item_switch.h"

#include "log_capture.h"

#include <QTest>

using LaunchAtLogin::LoginItemError;
using LaunchAtLoginTesting::LogCapture;
using namespace Qt::Literals::StringLiterals;

namespace {

// Records what is asked of the system, and refuses what the test says.
class FakeLoginItem final : public LaunchAtLogin::LoginItem {
public:
    bool enabled = false;
    bool refuseRegister = false;
    bool refuseUnregister = false;
    QStringList calls;

    bool isEnabled() override { return enabled; }
    std::optional<LoginItemError> registerItem() override
    {
        calls << u"register"_s;
        if (refuseRegister)
            return LoginItemError{u"no register today"_s};
        enabled = true;
        return std::nullopt;
    }
    std::optional<LoginItemError> unregisterItem() override
    {
        calls << u"unregister"_s;
        if (refuseUnregister)
            return LoginItemError{u"no unregister today"_s};
        enabled = false;
        return std::nullopt;
    }
};

} // namespace

class LoginItemSwitchTest : public QObject {
    Q_OBJECT

private slots:
    void theSwitchTalksToTheSystemAsOrdered_data()
    {
        QTest::addColumn<bool>("enabledBefore");
        QTest::addColumn<bool>("enable");
        QTest::addColumn<bool>("refuseRegister");
        QTest::addColumn<bool>("refuseUnregister");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QString>("logged");
        QTest::newRow("turning on registers") << false << true << false << false << QStringList{"register"} << "";
        QTest::newRow("turning on when on registers afresh")
            << true << true << false << false << QStringList{"unregister", "register"} << "";
        QTest::newRow("a failing unregister before registering afresh is not logged")
            << true << true << false << true << QStringList{"unregister", "register"} << "";
        QTest::newRow("a failing register is logged") << false << true << true << false << QStringList{"register"}
                                                      << "Failed to enable launch at login: no register today";
        QTest::newRow("a failing unregister is logged") << true << false << false << true << QStringList{"unregister"}
                                                        << "Failed to disable launch at login: no unregister today";
    }
    void theSwitchTalksToTheSystemAsOrdered()
    {
        QFETCH(bool, enabledBefore);
        QFETCH(bool, enable);
        QFETCH(bool, refuseRegister);
        QFETCH(bool, refuseUnregister);
        QFETCH(QStringList, calls);
        QFETCH(QString, logged);
        FakeLoginItem item;
        item.enabled = enabledBefore;
        item.refuseRegister = refuseRegister;
        item.refuseUnregister = refuseUnregister;
        LogCapture log;
        LaunchAtLogin::switchLoginItem(item, enable);
        QCOMPARE(item.calls, calls);
        const auto lines = log.mentioning(u"launch at login"_s);
        QCOMPARE(lines.size(), logged.isEmpty() ? 0 : 1);
        if (!lines.isEmpty())
            QCOMPARE(lines.first().text, logged);
    }
};

QTEST_GUILESS_MAIN(LoginItemSwitchTest)
#include "login_item_switch_test.moc"
