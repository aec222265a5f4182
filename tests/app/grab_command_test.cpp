#include "app/grab_command.h"

#include "support/scoped_environment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using TestSupport::ScopedEnvironment;

class GrabCommandTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString makeProgram(const QString &relativePath)
    {
        const QString path = m_dir.filePath(relativePath);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFile::ReadOwner | QFile::ExeOwner))
            return {};
        return path;
    }

private slots:
    void theUserIsShownTheShortestCommandThatRunsThisProgram()
    {
        QVERIFY(QDir(m_dir.path()).mkpath(u"build/src/app"_s));
        QVERIFY(QDir(m_dir.path()).mkpath(u"bin"_s));
        QVERIFY(QDir(m_dir.path()).mkpath(u"other"_s));
        const QString program = makeProgram(u"build/src/app/scrivlet"_s);
        const QString other = makeProgram(u"other/scrivlet"_s);
        QVERIFY(!program.isEmpty() && !other.isEmpty());
        QVERIFY(QFile::link(program, m_dir.filePath(u"bin/scrivlet"_s)));
        const KeyboardShortcuts::DesktopCommand command = grabCommand(program);
        QCOMPARE(command.arguments, QStringList({program, u"scrivlet:///_Grab_"_s}));
        QVERIFY(!command.title.isEmpty());
        {
            const ScopedEnvironment path{{"PATH", m_dir.filePath(u"bin"_s)}};
            QCOMPARE(shownCommandLine(command), u"scrivlet scrivlet:///_Grab_"_s); // a link to it on PATH
        }
        {
            const ScopedEnvironment path{{"PATH", m_dir.filePath(u"other"_s) + u':' + m_dir.filePath(u"bin"_s)}};
            QCOMPARE(shownCommandLine(command), program + u" scrivlet:///_Grab_"_s); // PATH finds another first
        }
        {
            const ScopedEnvironment path{{"PATH", m_dir.filePath(u"nothing"_s)}};
            QCOMPARE(shownCommandLine(command), program + u" scrivlet:///_Grab_"_s);
        }
    }
};

QTEST_GUILESS_MAIN(GrabCommandTest)
#include "grab_command_test.moc"
