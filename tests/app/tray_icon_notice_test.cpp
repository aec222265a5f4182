#include "app/tray_icon_notice.h"

#include <QTest>

using Platform::Desktop;

Q_DECLARE_METATYPE(Platform::Desktop)

class TrayIconNoticeTest : public QObject {
    Q_OBJECT

private slots:
    void theNoticeFitsTheDesktop_data()
    {
        QTest::addColumn<bool>("trayAvailable");
        QTest::addColumn<Desktop>("desktop");
        QTest::addColumn<bool>("toldBefore");
        QTest::addColumn<QString>("shortcut"); // empty: none works
        QTest::addColumn<QStringList>("said"); // empty: no notice at all
        QTest::addColumn<QStringList>("unsaid");

        const QString extension = QStringLiteral("AppIndicator and KStatusNotifierItem Support");
        const QString package = QStringLiteral("gnome-shell-extension-appindicator");
        const QString shortcut = QStringLiteral("Super+Shift+2");
        QTest::newRow("a tray shows the icon: nothing to say")
            << true << Desktop::gnome << false << shortcut << QStringList() << QStringList();
        QTest::newRow("told at an earlier start: said once only")
            << false << Desktop::gnome << true << shortcut << QStringList() << QStringList();
        QTest::newRow("GNOME: the extension, its package, the app grid and the shortcut")
            << false << Desktop::gnome << false << shortcut
            << QStringList{extension, package, QStringLiteral("app grid"), QStringLiteral("press Super+Shift+2")}
            << QStringList{QStringLiteral("System Tray widget")};
        QTest::newRow("no working shortcut is promised")
            << false << Desktop::gnome << false << QString() << QStringList{extension, QStringLiteral("Read QR Code")}
            << QStringList{QStringLiteral("press")};
        QTest::newRow("KDE: the System Tray widget")
            << false << Desktop::kde << false << shortcut
            << QStringList{QStringLiteral("System Tray widget"), QStringLiteral("application menu"),
                           QStringLiteral("start Scrivlet again")}
            << QStringList{package, QStringLiteral("app grid")};
        QTest::newRow("Xfce: the Status Tray plugin")
            << false << Desktop::xfce << false << shortcut << QStringList{QStringLiteral("Status Tray plugin")}
            << QStringList{package};
        QTest::newRow("sway and other wlroots desktops: the bar's tray")
            << false << Desktop::wlroots << false << shortcut << QStringList{QStringLiteral("swaybar")}
            << QStringList{package};
        QTest::newRow("any other desktop: a panel with a tray")
            << false << Desktop::other << false << shortcut << QStringList{QStringLiteral("panel with a system tray")}
            << QStringList{package, QStringLiteral("System Tray widget")};
    }

    void theNoticeFitsTheDesktop()
    {
        QFETCH(bool, trayAvailable);
        QFETCH(Desktop, desktop);
        QFETCH(bool, toldBefore);
        QFETCH(QString, shortcut);
        QFETCH(QStringList, said);
        QFETCH(QStringList, unsaid);
        const std::optional<Platform::Notice> notice = trayIconNotice(
            {trayAvailable, desktop, toldBefore, shortcut.isEmpty() ? std::nullopt : std::optional(shortcut)});
        QCOMPARE(notice.has_value(), !said.isEmpty());
        if (!notice)
            return;
        QVERIFY(!notice->summary.isEmpty());
        for (const QString &text : said)
            QVERIFY2(notice->body.contains(text), qPrintable(text + QStringLiteral(" not in: ") + notice->body));
        for (const QString &text : unsaid)
            QVERIFY2(!notice->body.contains(text), qPrintable(text + QStringLiteral(" in: ") + notice->body));
        // Servers that read markup in the body would swallow or refuse these.
        for (const QChar markup : {QLatin1Char('<'), QLatin1Char('>'), QLatin1Char('&')})
            QVERIFY2(!notice->body.contains(markup) && !notice->summary.contains(markup), qPrintable(notice->body));
    }
};

QTEST_APPLESS_MAIN(TrayIconNoticeTest)
#include "tray_icon_notice_test.moc"
