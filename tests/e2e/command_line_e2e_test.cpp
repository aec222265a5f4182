#include "support/scrivlet_process.h"

#include <QProcess>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The built program asked for its help or version where there is no display: it answers and ends.
class CommandLineEndToEndTest : public QObject {
    Q_OBJECT

private slots:
    void helpAndVersionNeedNoDisplay_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("expected");
        QTest::newRow("help") << u"--help"_s << u"scrivlet:///_Grab_"_s;
        QTest::newRow("version") << u"--version"_s << u"scrivlet " SCRIVLET_VERSION ""_s;
        // Among URLs, as a script might write it.
        QTest::newRow("help after a URL") << u"-h"_s << u"[URL...]"_s;
    }
    void helpAndVersionNeedNoDisplay()
    {
        QFETCH(QString, argument);
        QFETCH(QString, expected);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"DISPLAY"_s);
        environment.remove(u"WAYLAND_DISPLAY"_s);
        environment.remove(u"QT_QPA_PLATFORM"_s);
        QProcess program;
        program.setProcessEnvironment(environment);
        program.start(TestSupport::ScrivletProcess::program(), {u"scrivlet:///_Grab_"_s, argument});
        QVERIFY(program.waitForFinished(20000));
        const QString output = QString::fromUtf8(program.readAllStandardOutput());
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QVERIFY2(output.contains(expected), qPrintable(output));
    }
};

QTEST_GUILESS_MAIN(CommandLineEndToEndTest)
#include "command_line_e2e_test.moc"
