#include "keyboard_shortcuts/desktop_command.h"

#include "support/desktop_tools.h"

#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::runCommand;

class DesktopCommandTest : public QObject {
    Q_OBJECT

private slots:
    // A shell is the reader the command line must satisfy: the settings daemon splits it the same way.
    void aShellSplitsTheLineIntoTheArguments_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("line");
        QTest::newRow("plain arguments stay bare") << QStringList{u"/usr/local/bin/scrivlet"_s, u"scrivlet:///_Grab_"_s}
                                                   << u"/usr/local/bin/scrivlet scrivlet:///_Grab_"_s;
        QTest::newRow("a space is quoted")
            << QStringList{u"/opt/my apps/scrivlet"_s, u"x"_s} << u"'/opt/my apps/scrivlet' x"_s;
        QTest::newRow("a single quote is closed, escaped and reopened")
            << QStringList{u"/home/o'neil/scrivlet"_s} << u"'/home/o'\\''neil/scrivlet'"_s;
        QTest::newRow("shell characters are quoted")
            << QStringList{u"a;b"_s, u"$HOME"_s, u"`id`"_s, u"*"_s, u"~"_s, u"a=b"_s}
            << u"'a;b' '$HOME' '`id`' '*' '~' 'a=b'"_s;
        QTest::newRow("an empty argument stays one") << QStringList{u"echo"_s, QString(), u"x"_s} << u"echo '' x"_s;
        QTest::newRow("non-ASCII is quoted") << QStringList{u"/home/jürgen/scrivlet"_s} << u"'/home/jürgen/scrivlet'"_s;
        QTest::newRow("no arguments, no line") << QStringList() << QString();
    }
    void aShellSplitsTheLineIntoTheArguments()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        const QString written = DesktopCommand{u"title"_s, arguments}.commandLine();
        QCOMPARE(written, line);
        if (arguments.isEmpty())
            return;
        // The shell splits the line into its positional parameters; each is printed in brackets on a line.
        const TestSupport::CommandResult result =
            runCommand(u"sh"_s, {u"-c"_s, u"set -- "_s + written + u"; printf '[%s]\\n' \"$@\""_s});
        QString expected;
        for (const QString &argument : arguments)
            expected += u'[' + argument + u"]\n"_s;
        QCOMPARE(QString::fromUtf8(result.standardOutput), expected);
    }
};

QTEST_GUILESS_MAIN(DesktopCommandTest)
#include "desktop_command_test.moc"
