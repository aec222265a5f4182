#include "platform/private_directory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

class PrivateDirectoryTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    static mode_t modeOf(const QString &path)
    {
        struct stat info {};
        ::lstat(QFile::encodeName(path).constData(), &info);
        return info.st_mode & 07777;
    }

private slots:
    void aNewDirectoryIsClosedToOthers()
    {
        const QString path = m_dir.filePath(QStringLiteral("new"));
        QVERIFY(Platform::ensurePrivateDirectory(path));
        QCOMPARE(modeOf(path), mode_t(0700));
    }

    void anOpenDirectoryOfOursIsClosed()
    {
        const QString path = m_dir.filePath(QStringLiteral("open"));
        QVERIFY(QDir().mkpath(path));
        ::chmod(QFile::encodeName(path).constData(), 0777);
        QVERIFY(Platform::ensurePrivateDirectory(path));
        QCOMPARE(modeOf(path), mode_t(0700));
    }

    void aPlantedLinkIsRefused()
    {
        const QString target = m_dir.filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkpath(target));
        const QString link = m_dir.filePath(QStringLiteral("link"));
        QVERIFY(QFile::link(target, link));
        QVERIFY(!Platform::ensurePrivateDirectory(link));
    }

    void aFileInThePlaceIsRefused()
    {
        const QString path = m_dir.filePath(QStringLiteral("file"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(!Platform::ensurePrivateDirectory(path));
    }

    void aDirectoryOfAnotherUserIsRefused()
    {
        if (::geteuid() != 0)
            QSKIP("needs root to give a directory away");
        const QString path = m_dir.filePath(QStringLiteral("theirs"));
        QVERIFY(QDir().mkpath(path));
        QCOMPARE(::chown(QFile::encodeName(path).constData(), 65534, 65534), 0);
        QVERIFY(!Platform::ensurePrivateDirectory(path));
    }

    void theRuntimeDirectoryIsPreferredAndEndsWithASlash()
    {
        const QByteArray saved = qgetenv("XDG_RUNTIME_DIR");
        auto restore = qScopeGuard([&] { qputenv("XDG_RUNTIME_DIR", saved); });
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_dir.path()));
        QCOMPARE(Platform::privateRuntimeDirectory(), m_dir.path() + QStringLiteral("/scrivlet/"));

        // A runtime directory someone else controls is not used.
        QVERIFY(QFile::remove(m_dir.filePath(QStringLiteral("scrivlet"))) ||
                QDir(m_dir.filePath(QStringLiteral("scrivlet"))).removeRecursively());
        QVERIFY(QFile::link(m_dir.filePath(QStringLiteral("elsewhere")), m_dir.filePath(QStringLiteral("scrivlet"))));
        const auto fallback = Platform::privateRuntimeDirectory();
        QVERIFY(fallback.has_value());
        QVERIFY(!fallback->startsWith(m_dir.path()));
        QCOMPARE(modeOf(*fallback) & 0077, mode_t(0));
    }
};

QTEST_MAIN(PrivateDirectoryTest)
#include "private_directory_test.moc"
