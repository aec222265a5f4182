#include "user_defaults/user_defaults.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>

using namespace Qt::Literals::StringLiterals;

namespace {

// When set, this binary is a second process that hammers a defaults file: "path|prefix|count".
constexpr auto writerVariable = "USER_DEFAULTS_TEST_WRITER";

void writeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(contents);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class UserDefaultsTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path() const { return m_dir.filePath(QStringLiteral("domain/defaults.json")); }

private slots:
    void init() { QFile::remove(path()); }

    void absentKeysReadAsDefaults()
    {
        const UserDefaults defaults(path());
        QVERIFY(!defaults.contains(QStringLiteral("anything")));
        QCOMPARE(defaults.boolean(QStringLiteral("IgnoreLineBreaks")), false);
        QCOMPARE(defaults.integer(QStringLiteral("numberOfUsages")), 0);
        QCOMPARE(defaults.string(QStringLiteral("name")), std::nullopt);
        QCOMPARE(defaults.stringArray(QStringLiteral("list")), std::nullopt);
        QVERIFY(!QFile::exists(path())); // reading never creates the file
    }

    void valuesRoundTripThroughTheFile()
    {
        UserDefaults writer(path());
        writer.setBoolean(QStringLiteral("flag"), true);
        writer.setInteger(QStringLiteral("big"), Q_INT64_C(9007199254740993)); // beyond a double's precision
        writer.setInteger(QStringLiteral("negative"), -42);
        writer.setString(QStringLiteral("text"), QStringLiteral("Grüße\n✓"));
        writer.setStringArray(QStringLiteral("list"), {QStringLiteral("a"), QString(), QStringLiteral("c")});

        const UserDefaults reader(path()); // a second handle sees what the first wrote
        QCOMPARE(reader.boolean(QStringLiteral("flag")), true);
        QCOMPARE(reader.integer(QStringLiteral("big")), Q_INT64_C(9007199254740993));
        QCOMPARE(reader.integer(QStringLiteral("negative")), -42);
        QCOMPARE(reader.string(QStringLiteral("text")), QStringLiteral("Grüße\n✓"));
        QCOMPARE(reader.stringArray(QStringLiteral("list")),
                 QStringList({QStringLiteral("a"), QString(), QStringLiteral("c")}));
        QVERIFY(reader.contains(QStringLiteral("flag")));

        writer.remove(QStringLiteral("flag"));
        QVERIFY(!reader.contains(QStringLiteral("flag")));
        QCOMPARE(reader.integer(QStringLiteral("negative")), -42);
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
        QVERIFY(defaults.contains(QStringLiteral("key")));
        QCOMPARE(defaults.boolean(QStringLiteral("key")), asBoolean);
        QCOMPARE(defaults.integer(QStringLiteral("key")), asInteger);
        QCOMPARE(defaults.string(QStringLiteral("key")).value_or(QStringLiteral("<none>")), asString);
        QCOMPARE(defaults.stringArray(QStringLiteral("key")).has_value(), isStringArray);
    }

    void damagedFilesReadAsEmptyAndSurviveUntilTheNextWrite_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("truncated") << "{\"textHistory\":[\"one\",\"tw"_ba;
        QTest::newRow("not JSON") << "\x89PNG\r\n\x1a\n\0\0garbage"_ba;
        QTest::newRow("a JSON array instead of an object") << "[\"textHistory\"]"_ba;
        QTest::newRow("a bare string") << "\"hello\""_ba;
        QTest::newRow("empty") << QByteArray();
    }

    void damagedFilesReadAsEmptyAndSurviveUntilTheNextWrite()
    {
        QFETCH(QByteArray, contents);
        writeFile(path(), contents);
        UserDefaults defaults(path());
        QVERIFY(!defaults.contains(QStringLiteral("textHistory")));
        QCOMPARE(defaults.stringArray(QStringLiteral("textHistory")), std::nullopt);
        QCOMPARE(readFile(path()), contents); // reading leaves it alone

        defaults.setInteger(QStringLiteral("numberOfUsages"), 3);
        QCOMPARE(defaults.integer(QStringLiteral("numberOfUsages")), 3);
        const QJsonDocument rewritten = QJsonDocument::fromJson(readFile(path()));
        QVERIFY(rewritten.isObject());
        if (!contents.isEmpty())
            QCOMPARE(readFile(path() + QStringLiteral(".corrupt")), contents); // the user's old file is kept
    }

    void aDirectoryInPlaceOfTheFileIsSurvived()
    {
        QVERIFY(QDir().mkpath(path()));
        UserDefaults defaults(path());
        QCOMPARE(defaults.integer(QStringLiteral("numberOfUsages")), 0);
        defaults.setInteger(QStringLiteral("numberOfUsages"), 1); // cannot be written: a warning, no crash
        QVERIFY(QFileInfo(path()).isDir());
        QVERIFY(QDir(path()).removeRecursively());
    }

    void filesAreReplacedWholeAndPrivate()
    {
        UserDefaults defaults(path());
        defaults.setString(QStringLiteral("a"), QStringLiteral("1"));
        QCOMPARE(QFile::permissions(path()) & (QFile::ReadOther | QFile::ReadGroup | QFile::WriteOther),
                 QFileDevice::Permissions());
        const QStringList leftovers = QDir(QFileInfo(path()).absolutePath()).entryList(QDir::Files);
        QCOMPARE(leftovers, QStringList{QStringLiteral("defaults.json")}); // no temporary or lock files stay
    }

    void twoProcessesWritingAtOnceLoseNothing()
    {
        constexpr int writesPerProcess = 60;
        QList<QProcess *> writers;
        for (const QString &prefix : {QStringLiteral("first"), QStringLiteral("second")}) {
            auto *writer = new QProcess(this);
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QString::fromLatin1(writerVariable),
                               QStringLiteral("%1|%2|%3").arg(path(), prefix).arg(writesPerProcess));
            writer->setProcessEnvironment(environment);
            writer->start(QCoreApplication::applicationFilePath(), {});
            writers.append(writer);
        }
        // Meanwhile this process reads: at no moment may the file be torn.
        const UserDefaults reader(path());
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
            QCOMPARE(writer->exitCode(), 0);
        }
        for (int i = 0; i < writesPerProcess; ++i) {
            QCOMPARE(reader.integer(QStringLiteral("first%1").arg(i)), i);
            QCOMPARE(reader.integer(QStringLiteral("second%1").arg(i)), i);
        }
        QVERIFY(readsWhileWriting > 0);
    }
};

int main(int argc, char **argv)
{
    const QByteArray writer = qgetenv(writerVariable);
    if (!writer.isEmpty()) {
        QCoreApplication app(argc, argv);
        const QList<QByteArray> parts = writer.split('|');
        UserDefaults defaults(QString::fromUtf8(parts.value(0)));
        const int count = parts.value(2).toInt();
        for (int i = 0; i < count; ++i)
            defaults.setInteger(QString::fromUtf8(parts.value(1)) + QString::number(i), i);
        return EXIT_SUCCESS;
    }
    QCoreApplication app(argc, argv);
    UserDefaultsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "user_defaults_test.moc"
