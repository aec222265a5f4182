#include "launch_at_login/desktop_entry.h"

#include <QTest>

using LaunchAtLogin::DesktopEntry;
using namespace Qt::Literals::StringLiterals;

class DesktopEntryTest : public QObject {
    Q_OBJECT

private slots:
    void damagedTextIsNoEntry_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("isEntry");
        QTest::newRow("a minimal entry") << "[Desktop Entry]\nType=Application\n"_ba << true;
        QTest::newRow("comments first, localised keys and more groups")
            << "# by hand\n\n[Desktop Entry]\nName[de_DE@euro]=X\n[Desktop Action New]\nName=Y\n"_ba << true;
        QTest::newRow("an empty file is damaged") << ""_ba << false;
        QTest::newRow("a line without '=' is damaged") << "[Desktop Entry]\nName X\n"_ba << false;
        QTest::newRow("a key before the group is damaged") << "Name=X\n[Desktop Entry]\n"_ba << false;
        QTest::newRow("another first group is damaged") << "[Other]\nA=1\n[Desktop Entry]\nName=X\n"_ba << false;
        QTest::newRow("a repeated key is damaged") << "[Desktop Entry]\nName=X\nName=Y\n"_ba << false;
        QTest::newRow("a space inside a key is damaged") << "[Desktop Entry]\nNa me=X\n"_ba << false;
        QTest::newRow("text that is not UTF-8 is damaged") << "[Desktop Entry]\nName=\xff\xfe\n"_ba << false;
    }
    void damagedTextIsNoEntry()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, isEntry);
        QCOMPARE(DesktopEntry::parse(text).has_value(), isEntry);
    }

    void changingAKeyKeepsEveryOtherLine()
    {
        const QByteArray text = "# kept\n[Desktop Entry]\nType=Application\n# inside\nName[fr]=Écrivain\nExec=old\n\n"
                                "[Desktop Action New]\nExec=other %u\n";
        auto entry = DesktopEntry::parse(text);
        QVERIFY(entry);
        QCOMPARE(entry->toByteArray(), text);
        entry->setValue(u"Exec"_s, u" new\\"_s);
        entry->setValue(u"Hidden"_s, u"true"_s);
        entry->remove(u"Type"_s);
        const QByteArray changed = "# kept\n[Desktop Entry]\n# inside\nName[fr]=Écrivain\nExec=\\snew\\\\\n"
                                   "Hidden=true\n\n[Desktop Action New]\nExec=other %u\n";
        QCOMPARE(entry->toByteArray(), changed);
        QCOMPARE(DesktopEntry::parse(changed)->value(u"Exec"_s), u" new\\"_s);
    }

    // Spelled as the Desktop Entry Specification's Exec rules ask, and read back to the same program.
    void programPathsSurviveTheExecKey_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("a plain path stays bare") << u"/usr/bin/scrivlet"_s << "Exec=/usr/bin/scrivlet"_ba;
        QTest::newRow("a space needs quotes") << u"/opt/my app/run"_s << "Exec=\"/opt/my app/run\""_ba;
        QTest::newRow("quote, backtick, dollar are escaped") << u"/a\"b`c$d"_s << "Exec=\"/a\\\\\"b\\\\`c\\\\$d\""_ba;
        QTest::newRow("a backslash takes four") << u"/a\\b"_s << "Exec=\"/a\\\\\\\\b\""_ba;
        QTest::newRow("a percent sign is doubled") << u"/100%/run"_s << "Exec=/100%%/run"_ba;
        QTest::newRow("a tab and a newline") << u"/a\tb\nc"_s << "Exec=\"/a\\tb\\nc\""_ba;
    }
    void programPathsSurviveTheExecKey()
    {
        QFETCH(QString, program);
        QFETCH(QByteArray, line);
        DesktopEntry written;
        written.setValue(u"Exec"_s, LaunchAtLogin::quoteExecArgument(program));
        QCOMPARE(written.toByteArray(), "[Desktop Entry]\n" + line + '\n');
        const auto read = DesktopEntry::parse(written.toByteArray());
        QVERIFY(read);
        QCOMPARE(LaunchAtLogin::splitExecValue(*read->value(u"Exec"_s)), QStringList{program});
        QCOMPARE(LaunchAtLogin::splitExecValue(*read->value(u"Exec"_s) + u" %u"_s), (QStringList{program, u"%u"_s}));
    }
};

QTEST_APPLESS_MAIN(DesktopEntryTest)
#include "desktop_entry_test.moc"
