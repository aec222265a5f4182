#include "platform/private_directory.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t otherUser = 65534;

mode_t modeOf(const QString &path)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return 0;
    return info.st_mode & 07777;
}

bool setMode(const QString &path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
}

bool giveAway(const QString &path)
{
    return ::chown(QFile::encodeName(path).constData(), otherUser, otherUser) == 0;
}

// Restores an environment variable when it goes.
class EnvironmentOverride {
public:
    explicit EnvironmentOverride(const char *name)
        : m_name(name), m_saved(qgetenv(name)), m_wasSet(qEnvironmentVariableIsSet(name))
    {}
    ~EnvironmentOverride()
    {
        if (m_wasSet)
            qputenv(m_name, m_saved);
        else
            qunsetenv(m_name);
    }
    EnvironmentOverride(const EnvironmentOverride &) = delete;
    EnvironmentOverride &operator=(const EnvironmentOverride &) = delete;
    void set(const QString &value) const { qputenv(m_name, QFile::encodeName(value)); }
    void unset() const { qunsetenv(m_name); }

private:
    const char *m_name;
    QByteArray m_saved;
    bool m_wasSet;
};

enum class Change {
    none,
    relativePath,
    openedToOthers,
    givenAway,
    linkInPlace,
    looserMode,
    gone,
    openParent,
    stickyParent
};

} // namespace

Q_DECLARE_METATYPE(Change)

class PrivateDirectoryTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<EnvironmentOverride> m_runtimeVariable;
    std::unique_ptr<EnvironmentOverride> m_tmpVariable;

    // The session's runtime directory, closed to others, and the temporary folder the fallback goes into.
    QString runtime() const { return m_dir->filePath(QStringLiteral("runtime")); }
    QString temporary() const { return m_dir->filePath(QStringLiteral("tmp")); }
    QString fallback() const
    {
        return QDir(temporary()).canonicalPath() + QStringLiteral("/scrivlet-%1").arg(::geteuid());
    }
    QStringList temporaryEntries() const
    {
        return QDir(temporary()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    }

    static void skipUnlessRoot()
    {
        if (::geteuid() != 0)
            QSKIP("needs root to give a folder to another user");
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        QVERIFY(QDir().mkpath(runtime()) && setMode(runtime(), 0700));
        QVERIFY(QDir().mkpath(temporary()) && setMode(temporary(), 0700));
        m_runtimeVariable = std::make_unique<EnvironmentOverride>("XDG_RUNTIME_DIR");
        m_tmpVariable = std::make_unique<EnvironmentOverride>("TMPDIR");
        m_runtimeVariable->set(runtime());
        m_tmpVariable->set(temporary());
    }

    void cleanup()
    {
        m_runtimeVariable.reset();
        m_tmpVariable.reset();
        m_dir.reset();
    }

    void theSessionRuntimeDirectoryIsUsedAndKeptClosed()
    {
        const QString expected = runtime() + QStringLiteral("/scrivlet/");
        for (int start = 0; start < 2; ++start) {
            const auto found = Platform::privateRuntimeDirectory();
            QVERIFY(std::holds_alternative<Platform::PrivateDirectory>(found));
            QCOMPARE(std::get<Platform::PrivateDirectory>(found).path, expected);
            QCOMPARE(modeOf(expected), mode_t(0700));
            QVERIFY(setMode(expected, 0755)); // loosened between two starts: closed again by the next
        }
        QVERIFY(temporaryEntries().isEmpty());
    }

    void aRuntimeDirectoryNotFitForUsGivesWayToTheFolderPerUser_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("warning");
        QTest::newRow("unset") << Change::none << QString();
        QTest::newRow("relative") << Change::relativePath << QStringLiteral("not an absolute path");
        QTest::newRow("writable by others") << Change::openedToOthers << QStringLiteral("writable by other users");
        QTest::newRow("another user's") << Change::givenAway << QStringLiteral("uid 65534");
        QTest::newRow("a link in our folder's place") << Change::linkInPlace << QStringLiteral("symbolic link");
    }

    void aRuntimeDirectoryNotFitForUsGivesWayToTheFolderPerUser()
    {
        QFETCH(Change, change);
        QFETCH(QString, warning);
        switch (change) {
        case Change::none:
            m_runtimeVariable->unset();
            break;
        case Change::relativePath:
            m_runtimeVariable->set(QStringLiteral("relative/runtime"));
            break;
        case Change::openedToOthers:
            QVERIFY(setMode(runtime(), 0777));
            break;
        case Change::givenAway:
            skipUnlessRoot();
            QVERIFY(giveAway(runtime()));
            break;
        case Change::linkInPlace:
            QVERIFY(QFile::link(temporary(), runtime() + QStringLiteral("/scrivlet")));
            break;
        default:
            QFAIL("not a change of the runtime directory");
        }
        // Every start finds the same folder: the single instance's lock lives there.
        for (int start = 0; start < 2; ++start) {
            if (!warning.isEmpty())
                QTest::ignoreMessage(QtWarningMsg,
                                     QRegularExpression(QStringLiteral("XDG_RUNTIME_DIR.*(%1)").arg(warning)));
            const auto found = Platform::privateRuntimeDirectory();
            QVERIFY(std::holds_alternative<Platform::PrivateDirectory>(found));
            QCOMPARE(std::get<Platform::PrivateDirectory>(found).path, fallback() + QLatin1Char('/'));
            QCOMPARE(modeOf(fallback()), mode_t(0700));
        }
        QCOMPARE(temporaryEntries().size(), 1);
    }

    void aFolderPerUserThatIsNotOursIsRefused_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("remedy");
        QTest::newRow("another user's") << Change::givenAway << QStringLiteral("remove it");
        QTest::newRow("a link") << Change::linkInPlace << QStringLiteral("remove it");
        QTest::newRow("in a folder anyone can change") << Change::openParent << QStringLiteral("set TMPDIR");
    }

    void aFolderPerUserThatIsNotOursIsRefused()
    {
        QFETCH(Change, change);
        QFETCH(QString, remedy);
        m_runtimeVariable->unset();
        const QString elsewhere = m_dir->filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkpath(elsewhere) && setMode(elsewhere, 0755));
        switch (change) {
        case Change::givenAway:
            skipUnlessRoot();
            QVERIFY(QDir().mkpath(fallback()) && setMode(fallback(), 0700) && giveAway(fallback()));
            break;
        case Change::linkInPlace:
            QVERIFY(QFile::link(elsewhere, fallback()));
            break;
        case Change::openParent:
            QVERIFY(setMode(temporary(), 0777));
            break;
        default:
            QFAIL("not a change of the folder per user");
        }
        const QStringList before = temporaryEntries();

        const auto found = Platform::privateRuntimeDirectory();
        QVERIFY(std::holds_alternative<Platform::NoPrivateDirectory>(found));
        const QString reason = std::get<Platform::NoPrivateDirectory>(found).reason;
        QVERIFY2(reason.startsWith(fallback()) && reason.contains(remedy) && reason.contains(u"XDG_RUNTIME_DIR"),
                 qPrintable(reason));
        if (change == Change::givenAway)
            QVERIFY2(reason.contains(QStringLiteral("uid %1").arg(otherUser)), qPrintable(reason));
        // Refused, not replaced by a folder of another name, and nothing reached through the link was changed.
        if (change != Change::openParent)
            QCOMPARE(temporaryEntries(), before);
        QCOMPARE(modeOf(elsewhere), mode_t(0755));
    }

    void theCheckBeforeEachCaptureNoticesAChangedFolder_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("problem");
        QTest::newRow("unchanged") << Change::none << QString();
        QTest::newRow("in a sticky folder anyone can write to") << Change::stickyParent << QString();
        QTest::newRow("looser mode") << Change::looserMode << QStringLiteral("mode 0755");
        QTest::newRow("replaced by a link") << Change::linkInPlace << QStringLiteral("symbolic link");
        QTest::newRow("replaced by another user's") << Change::givenAway << QStringLiteral("uid 65534");
        QTest::newRow("gone") << Change::gone << QStringLiteral("gone");
        QTest::newRow("in a folder anyone can change")
            << Change::openParent << QStringLiteral("other users can change");
    }

    void theCheckBeforeEachCaptureNoticesAChangedFolder()
    {
        QFETCH(Change, change);
        QFETCH(QString, problem);
        const auto found = Platform::privateRuntimeDirectory();
        QVERIFY(std::holds_alternative<Platform::PrivateDirectory>(found));
        const QString directory = std::get<Platform::PrivateDirectory>(found).path;
        const std::optional<QString> before = Platform::privateDirectoryProblem(directory);
        QVERIFY2(!before, qPrintable(before.value_or(QString())));

        const QString folder = QDir::cleanPath(directory);
        const QString movedAway = m_dir->filePath(QStringLiteral("moved"));
        switch (change) {
        case Change::none:
            break;
        case Change::stickyParent:
            QVERIFY(setMode(runtime(), 01777));
            break;
        case Change::looserMode:
            QVERIFY(setMode(folder, 0755));
            break;
        case Change::linkInPlace:
            QVERIFY(QDir().rename(folder, movedAway) && QFile::link(movedAway, folder));
            break;
        case Change::givenAway:
            skipUnlessRoot();
            QVERIFY(QDir().rename(folder, movedAway) && QDir().mkdir(folder) && setMode(folder, 0700) &&
                    giveAway(folder));
            break;
        case Change::gone:
            QVERIFY(QDir().rmdir(folder));
            break;
        case Change::openParent:
            QVERIFY(setMode(runtime(), 0777));
            break;
        default:
            QFAIL("not a change of the private folder");
        }
        const std::optional<QString> reported = Platform::privateDirectoryProblem(directory);
        if (problem.isEmpty()) {
            QVERIFY2(!reported, qPrintable(reported.value_or(QString())));
            return;
        }
        QVERIFY(reported);
        QVERIFY2(reported->contains(folder) && reported->contains(problem), qPrintable(*reported));
    }
};

QTEST_GUILESS_MAIN(PrivateDirectoryTest)
#include "private_directory_test.moc"
