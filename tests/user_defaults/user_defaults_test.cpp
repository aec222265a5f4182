#include "user_defaults/user_defaults.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace Qt::Literals::StringLiterals;
using FileState = UserDefaults::FileState;

namespace {

// With this first argument the test binary is a second process working on a defaults file:
//   append PATH PREFIX COUNT   appends PREFIX0... to the array "list", one update() each
//   probe PATH CONDITION       prints the file's state and whether a write was stored, under CONDITION:
//                              "plain", "without-override" (no CAP_DAC_OVERRIDE: root obeys file modes) or
//                              "starved" (the state read with no file descriptor free, the write with one)
constexpr auto childArgument = "--user-defaults-child";
constexpr int cannotSetUp = 77;
constexpr int probeDeadline = 20000; // ms; a liveness limit, far above what a probe takes

void writeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(contents), contents.size());
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isRegularFile(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

const char *nameOf(FileState state)
{
    switch (state) {
    case FileState::missing:
        return "missing";
    case FileState::valid:
        return "valid";
    case FileState::damaged:
        return "damaged";
    case FileState::unreadable:
        return "unreadable";
    }
    return "?";
}

bool dropFileAccessOverride()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (::syscall(SYS_capget, &header, data) != 0)
        return false;
    for (const unsigned capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
        data[capability / 32].effective &= ~(1u << (capability % 32));
    return ::syscall(SYS_capset, &header, data) == 0;
}

int probe(const QString &path, const QString &condition)
{
    std::vector<int> hoard;
    const auto release = qScopeGuard([&] {
        for (const int fd : hoard)
            ::close(fd);
    });
    if (condition == u"without-override" && !dropFileAccessOverride())
        return cannotSetUp;
    if (condition == u"starved") {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, 128);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        for (int fd; (fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            hoard.push_back(fd);
        if (errno != EMFILE)
            return cannotSetUp;
    }
    UserDefaults defaults(path);
    const FileState state = defaults.fileState();
    if (!hoard.empty()) {
        ::close(hoard.back()); // for the lock
        hoard.pop_back();
    }
    const bool stored = defaults.update(u"probe"_s, [](const QJsonValue &) { return QJsonValue(1); });
    std::printf("%s %s\n", nameOf(state), stored ? "stored" : "refused");
    return EXIT_SUCCESS;
}

int append(const QString &path, const QString &prefix, int count)
{
    UserDefaults defaults(path);
    for (int i = 0; i < count; ++i) {
        const bool stored = defaults.update(u"list"_s, [&](const QJsonValue &current) {
            QJsonArray list = current.toArray();
            list.append(prefix + QString::number(i));
            return QJsonValue(list);
        });
        if (!stored)
            return EXIT_FAILURE;
        // Real writers pause between writes; without it a waiting writer could have to outwait all of the
        // other's writes, beyond UserDefaults::lockWait on a busy disk.
        QThread::msleep(2);
    }
    return EXIT_SUCCESS;
}

int runChild(const QStringList &arguments)
{
    if (arguments.value(0) == u"append")
        return append(arguments.value(1), arguments.value(2), arguments.value(3).toInt());
    if (arguments.value(0) == u"probe")
        return probe(arguments.value(1), arguments.value(2));
    return EXIT_FAILURE;
}

QProcess *startChild(const QStringList &arguments, QObject *parent)
{
    auto *child = new QProcess(parent);
    child->start(QCoreApplication::applicationFilePath(), QStringList{QString::fromLatin1(childArgument)} + arguments);
    return child;
}

} // namespace

// Found by QCOMPARE through argument-dependent lookup, so that a failure names both states.
static char *toString(FileState state)
{
    return qstrdup(nameOf(state));
}

class UserDefaultsTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path() const { return m_dir.filePath(u"domain/defaults.json"_s); }
    QString backupPath() const { return path() + u".corrupt"_s; }

    struct Probe {
        QString output;
        QString warnings;
    };
    // Runs a probe child; empty when it did not finish in time.
    std::optional<Probe> runProbe(const QString &condition)
    {
        QProcess *child = startChild({u"probe"_s, path(), condition}, this);
        const auto cleanup = qScopeGuard([child] { delete child; });
        if (!child->waitForFinished(probeDeadline)) {
            child->kill();
            child->waitForFinished();
            return std::nullopt;
        }
        if (child->exitCode() == cannotSetUp)
            return Probe{u"cannot set up"_s, {}};
        return Probe{QString::fromUtf8(child->readAllStandardOutput()).trimmed(),
                     QString::fromUtf8(child->readAllStandardError())};
    }

private slots:
    void init()
    {
        QDir(QFileInfo(path()).absolutePath()).removeRecursively();
        QVERIFY(QDir().mkpath(QFileInfo(path()).absolutePath()));
    }

    void absentKeysReadAsDefaults()
    {
        const UserDefaults defaults(path());
        QCOMPARE(defaults.fileState(), FileState::missing);
        QVERIFY(!defaults.contains(u"anything"_s));
        QCOMPARE(defaults.boolean(u"IgnoreLineBreaks"_s), false);
        QCOMPARE(defaults.integer(u"numberOfUsages"_s), 0);
        QCOMPARE(defaults.string(u"name"_s), std::nullopt);
        QCOMPARE(defaults.stringArray(u"list"_s), std::nullopt);
        QVERIFY(!QFile::exists(path())); // reading never creates the file
    }

    void valuesRoundTripThroughTheFile()
    {
        UserDefaults writer(path());
        writer.setBoolean(u"flag"_s, true);
        writer.setInteger(u"big"_s, Q_INT64_C(9007199254740993)); // beyond a double's precision
        writer.setInteger(u"negative"_s, -42);
        writer.setString(u"text"_s, u"Grüße\n✓"_s);
        writer.setStringArray(u"list"_s, {u"a"_s, QString(), u"c"_s});

        const UserDefaults reader(path()); // a second handle sees what the first wrote
        QCOMPARE(reader.fileState(), FileState::valid);
        QCOMPARE(reader.boolean(u"flag"_s), true);
        QCOMPARE(reader.integer(u"big"_s), Q_INT64_C(9007199254740993));
        QCOMPARE(reader.integer(u"negative"_s), -42);
        QCOMPARE(reader.string(u"text"_s), u"Grüße\n✓"_s);
        QCOMPARE(reader.stringArray(u"list"_s), QStringList({u"a"_s, QString(), u"c"_s}));
        QVERIFY(reader.contains(u"flag"_s));

        QJsonValue seen;
        QVERIFY(writer.update(u"negative"_s, [&](const QJsonValue &current) {
            seen = current;
            return QJsonValue(current.toInteger() * 2);
        }));
        QCOMPARE(seen, QJsonValue(-42));
        QCOMPARE(reader.integer(u"negative"_s), -84);

        writer.remove(u"flag"_s);
        QVERIFY(!reader.contains(u"flag"_s));
        QCOMPARE(reader.string(u"text"_s), u"Grüße\n✓"_s);
    }

    void readingAnotherType_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<bool>("asBoolean");
        QTest::addColumn<qint64>("asInteger");
        QTest::addColumn<QString>("asString"); // "<none>" for no string
        QTest::addColumn<bool>("isStringArray");

        QTest::newRow("false reads as the text 0") << "false"_ba << false << 0LL << "0" << false;
        QTest::newRow("true reads as the text 1 and the number 1") << "true"_ba << true << 1LL << "1" << false;
        QTest::newRow("a whole number reads as its digits") << "19"_ba << true << 19LL << "19" << false;
        QTest::newRow("a fraction is truncated toward zero") << "-2.9"_ba << true << -2LL << "-2.9" << false;
        QTest::newRow("zero is false") << "0"_ba << false << 0LL << "0" << false;
        QTest::newRow("numeric text parses") << "\"42\""_ba << true << 42LL << "42" << false;
        QTest::newRow("yes text is true") << "\"YES\""_ba << true << 0LL << "YES" << false;
        QTest::newRow("other text is false and zero") << "\"abc\""_ba << false << 0LL << "abc" << false;
        QTest::newRow("an array is no string") << "[\"a\",\"b\"]"_ba << false << 0LL << "<none>" << true;
        QTest::newRow("an array with a number is no string array")
            << "[\"a\",1]"_ba << false << 0LL << "<none>" << false;
        QTest::newRow("an object is nothing") << "{\"a\":1}"_ba << false << 0LL << "<none>" << false;
        QTest::newRow("null is nothing") << "null"_ba << false << 0LL << "<none>" << false;
    }

    void readingAnotherType()
    {
        QFETCH(QByteArray, stored);
        QFETCH(bool, asBoolean);
        QFETCH(qint64, asInteger);
        QFETCH(QString, asString);
        QFETCH(bool, isStringArray);
        writeFile(path(), "{\"key\":" + stored + "}");
        const UserDefaults defaults(path());
        QVERIFY(defaults.contains(u"key"_s));
        QCOMPARE(defaults.boolean(u"key"_s), asBoolean);
        QCOMPARE(defaults.integer(u"key"_s), asInteger);
        QCOMPARE(defaults.string(u"key"_s).value_or(u"<none>"_s), asString);
        QCOMPARE(defaults.stringArray(u"key"_s).has_value(), isStringArray);
    }

    void aRegularFileIsKeptUntilTheNextWriteAndThenBesideIt_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<FileState>("state");
        const auto padded = [](qint64 size) { return "{\"kept\":1" + QByteArray(size - 10, ' ') + "}"; };
        QTest::newRow("truncated") << "{\"textHistory\":[\"one\",\"tw"_ba << FileState::damaged;
        QTest::newRow("not JSON") << "\x89PNG\r\n\x1a\n\0\0garbage"_ba << FileState::damaged;
        QTest::newRow("a JSON array instead of an object") << "[\"textHistory\"]"_ba << FileState::damaged;
        QTest::newRow("a bare string") << "\"hello\""_ba << FileState::damaged;
        QTest::newRow("empty") << QByteArray() << FileState::damaged;
        QTest::newRow("an object one byte over the size limit")
            << padded(UserDefaults::maximumFileSize + 1) << FileState::damaged;
        QTest::newRow("an object of exactly the size limit")
            << padded(UserDefaults::maximumFileSize) << FileState::valid;
    }

    void aRegularFileIsKeptUntilTheNextWriteAndThenBesideIt()
    {
        QFETCH(QByteArray, contents);
        QFETCH(FileState, state);
        writeFile(path(), contents);
        UserDefaults defaults(path());
        QCOMPARE(defaults.fileState(), state);
        QCOMPARE(defaults.contains(u"kept"_s), state == FileState::valid);
        QCOMPARE(defaults.stringArray(u"textHistory"_s), std::nullopt);
        QCOMPARE(readFile(path()), contents); // reading leaves it alone

        QVERIFY(defaults.update(u"numberOfUsages"_s, [](const QJsonValue &) { return QJsonValue(3); }));
        QCOMPARE(defaults.fileState(), FileState::valid);
        QCOMPARE(defaults.integer(u"numberOfUsages"_s), 3);
        if (state == FileState::damaged) {
            QCOMPARE(readFile(backupPath()), contents); // the user's old file is kept
        } else {
            QVERIFY(!QFile::exists(backupPath()));
            QCOMPARE(defaults.integer(u"kept"_s), 1);
        }
    }

    void aDamagedFileThatCannotBeCopiedIsNotReplaced()
    {
        const QByteArray contents = "{\"textHistory\": [\"one\""_ba;
        writeFile(path(), contents);
        writeFile(backupPath() + u"/occupied"_s, "x"); // a directory a copy cannot replace, even for root
        UserDefaults defaults(path());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"no copy of it could be kept"_s));
        QVERIFY(!defaults.update(u"numberOfUsages"_s, [](const QJsonValue &) { return QJsonValue(1); }));
        QCOMPARE(readFile(path()), contents);
    }

    void aDirectoryInPlaceOfTheFileIsSurvived()
    {
        QVERIFY(QDir().mkpath(path()));
        UserDefaults defaults(path());
        QCOMPARE(defaults.fileState(), FileState::damaged);
        QCOMPARE(defaults.integer(u"numberOfUsages"_s), 0);
        defaults.setInteger(u"numberOfUsages"_s, 1); // cannot be written: a warning, no crash
        QVERIFY(QFileInfo(path()).isDir());
    }

    void whatIsNotARegularFileReadsAsDamagedAndIsReplaced_data()
    {
        QTest::addColumn<QString>("thing");
        QTest::newRow("a link to /dev/zero") << u"link to /dev/zero"_s;
        QTest::newRow("a named pipe") << u"pipe"_s;
    }

    void whatIsNotARegularFileReadsAsDamagedAndIsReplaced()
    {
        QFETCH(QString, thing);
        if (thing == u"pipe")
            QCOMPARE(::mkfifo(QFile::encodeName(path()).constData(), 0600), 0);
        else
            QVERIFY(QFile::link(u"/dev/zero"_s, path()));

        const std::optional<Probe> result = runProbe(u"plain"_s);
        QVERIFY2(result, "reading or writing did not end");
        QCOMPARE(result->output, u"damaged stored"_s);
        QVERIFY2(result->warnings.contains(path()), qPrintable(result->warnings));
        QVERIFY(isRegularFile(path()));
        QCOMPARE(UserDefaults(path()).integer(u"probe"_s), 1);
        QVERIFY(!QFile::exists(backupPath()));
        struct stat device {};
        QVERIFY(::stat("/dev/zero", &device) == 0 && S_ISCHR(device.st_mode));
    }

    void aFileThatCannotBeReadIsNeverWritten_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("condition");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("mode 000") << 0000 << u"without-override"_s << u"unreadable refused"_s;
        QTest::newRow("writable but not readable") << 0200 << u"without-override"_s << u"unreadable refused"_s;
        QTest::newRow("out of file descriptors") << 0600 << u"starved"_s << u"unreadable refused"_s;
        QTest::newRow("read-only is readable but kept") << 0400 << u"without-override"_s << u"valid refused"_s;
    }

    void aFileThatCannotBeReadIsNeverWritten()
    {
        QFETCH(int, mode);
        QFETCH(QString, condition);
        QFETCH(QString, outcome);
        const QByteArray contents = "{\"KeyboardShortcuts_toggleUnicornMode\": \"{\\\"carbonKeyCode\\\":19}\"}"_ba;
        writeFile(path(), contents);
        QCOMPARE(::chmod(QFile::encodeName(path()).constData(), mode), 0);

        const std::optional<Probe> result = runProbe(condition);
        QVERIFY2(result, "reading or writing did not end");
        if (result->output == u"cannot set up")
            QSKIP("this process cannot give up its file-access rights or starve its descriptors");
        QCOMPARE(result->output, outcome);
        QVERIFY2(result->warnings.contains(path()), qPrintable(result->warnings));
        QCOMPARE(readFile(path()), contents);
        QVERIFY(!QFile::exists(backupPath()));
    }

    void filesAreReplacedWholeAndPrivate()
    {
        UserDefaults defaults(path());
        defaults.setString(u"a"_s, u"1"_s);
        QCOMPARE(QFile::permissions(path()) & (QFile::ReadOther | QFile::ReadGroup | QFile::WriteOther),
                 QFileDevice::Permissions());
        const QStringList leftovers = QDir(QFileInfo(path()).absolutePath()).entryList(QDir::Files);
        QCOMPARE(leftovers, QStringList{u"defaults.json"_s}); // no temporary or lock files stay
    }

    void aLinkToASettingsFileStaysALink()
    {
        const QString kept = m_dir.filePath(u"dotfiles/defaults.json"_s);
        writeFile(kept, "{\"kept\": true}");
        QVERIFY(QFile::link(kept, path()));
        UserDefaults(path()).setInteger(u"numberOfUsages"_s, 2);
        QVERIFY(QFileInfo(path()).isSymLink());
        const UserDefaults target(kept);
        QCOMPARE(target.integer(u"numberOfUsages"_s), 2);
        QVERIFY(target.boolean(u"kept"_s));
    }

    void theLockIsWaitedForAndADeadHoldersTakenOver_data()
    {
        QTest::addColumn<bool>("holderIsAlive");
        QTest::newRow("a live holder's lock refuses the write, logged") << true;
        QTest::newRow("a dead process's lock is taken over") << false;
    }

    void theLockIsWaitedForAndADeadHoldersTakenOver()
    {
        QFETCH(bool, holderIsAlive);
        const QString lockPath = path() + u".lock"_s;
        QLockFile held(lockPath);
        if (holderIsAlive) {
            QVERIFY(held.tryLock());
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"another writer held its lock"_s));
        } else {
            // No process can have a number above the kernel's largest.
            const qint64 deadPid = readFile(u"/proc/sys/kernel/pid_max"_s).trimmed().toLongLong() + 1;
            writeFile(lockPath, QByteArray::number(deadPid) + "\nscrivlet\n\n");
        }
        UserDefaults defaults(path());
        QCOMPARE(defaults.update(u"numberOfUsages"_s, [](const QJsonValue &) { return QJsonValue(1); }),
                 !holderIsAlive);
        QCOMPARE(defaults.contains(u"numberOfUsages"_s), !holderIsAlive);
    }

    void twoProcessesUpdatingAtOnceLoseNothing()
    {
        constexpr int updatesPerProcess = 50;
        const QStringList prefixes = {u"first"_s, u"second"_s};
        QList<QProcess *> writers;
        for (const QString &prefix : prefixes)
            writers.append(startChild({u"append"_s, path(), prefix, QString::number(updatesPerProcess)}, this));
        const auto cleanup = qScopeGuard([&] { qDeleteAll(writers); });
        // Meanwhile this process reads: at no moment may the file be torn.
        int readsWhileWriting = 0;
        while (std::any_of(writers.begin(), writers.end(),
                           [](QProcess *p) { return p->state() != QProcess::NotRunning; })) {
            const QByteArray contents = readFile(path());
            if (!contents.isEmpty()) {
                QVERIFY2(QJsonDocument::fromJson(contents).isObject(), contents.constData());
                ++readsWhileWriting;
            }
            for (QProcess *writer : writers)
                writer->waitForFinished(5);
        }
        for (QProcess *writer : writers) {
            QCOMPARE(writer->exitStatus(), QProcess::NormalExit);
            QCOMPARE(writer->exitCode(), EXIT_SUCCESS);
        }
        const QStringList list = UserDefaults(path()).stringArray(u"list"_s).value_or(QStringList());
        QCOMPARE(list.size(), prefixes.size() * updatesPerProcess);
        for (const QString &prefix : prefixes) {
            QStringList expected;
            for (int i = 0; i < updatesPerProcess; ++i)
                expected.append(prefix + QString::number(i));
            QCOMPARE(list.filter(QRegularExpression(u"^"_s + prefix + u"\\d+$"_s)), expected); // each in order
        }
        QVERIFY(readsWhileWriting > 0);
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], childArgument) == 0)
        return runChild(app.arguments().mid(2));
    UserDefaultsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "user_defaults_test.moc"
