#include "platform/wl_copy_clipboard.h"
#include "support/fake_platform.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Platform::WlCopyClipboard;
using TestSupport::FakeClipboard;

// Shell scripts stand in for wl-copy: what reaches it, and what happens when it is missing or fails. The
// real one, against a real compositor, is driven by tests/e2e/wayland_e2e_test.cpp.
class WlCopyClipboardTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    QString script(const QString &name, const QString &body) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return {};
        file.write("#!/bin/sh\n" + body.toUtf8() + '\n');
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        return file.fileName();
    }

    // Waits until the file "go" exists, then appends its input and a newline to "log": the copies that ran, in
    // the order they ran.
    QString gatedCopier() const
    {
        return script(u"gated-copy"_s, uR"(while [ ! -e '%1' ]; do sleep 0.02; done
{ cat; echo; } >> '%2')"_s.arg(path(u"go"_s), path(u"log"_s)));
    }

    QByteArray contents(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QByteArray log() const { return contents(u"log"_s); }

    void openTheGate() const
    {
        QFile go(path(u"go"_s));
        QVERIFY(go.open(QIODevice::WriteOnly));
    }

private slots:
    void init()
    {
        QFile::remove(path(u"go"_s));
        QFile::remove(path(u"log"_s));
    }

    void theTextReachesWlCopyOnStandardInputAsUtf8Text()
    {
        const QString copier =
            script(u"recording-copy"_s,
                   uR"(printf '%s\n' "$@" > '%1'; cat > '%2')"_s.arg(path(u"arguments"_s), path(u"input"_s)));
        auto fallback = std::make_unique<FakeClipboard>();
        const FakeClipboard *fallbackSeen = fallback.get();
        WlCopyClipboard clipboard(std::move(fallback), copier);
        const QString text = u"Grüße – naïve\n日本語 ✓ <b>not HTML</b>\n"_s;
        clipboard.setText(text);

        QTRY_COMPARE(contents(u"input"_s), text.toUtf8());
        QCOMPARE(contents(u"arguments"_s), "--type\ntext/plain;charset=utf-8\n"_ba);
        QTest::qWait(100);
        QVERIFY(fallbackSeen->texts.isEmpty());
    }

    void whatWlCopyCannotCopyGoesToTheFallback_data()
    {
        QTest::addColumn<QString>("body"); // empty: no program at all
        QTest::addColumn<QStringList>("warnings");
        QTest::newRow("wl-copy missing") << QString() << QStringList{u"is missing.*install wl-clipboard"_s};
        QTest::newRow("wl-copy fails") << u"echo 'Failed to connect to a Wayland server' >&2; exit 1"_s
                                       << QStringList{
                                              u"could not copy.*exit code 1.*Failed to connect to a Wayland server"_s};
        QTest::newRow("wl-copy hangs") << u"exec sleep 30"_s
                                       << QStringList{u"did not finish in time"_s, u"could not copy"_s};
        QTest::newRow("wl-copy is killed") << u"kill -9 $$"_s << QStringList{u"could not copy"_s};
    }
    void whatWlCopyCannotCopyGoesToTheFallback()
    {
        QFETCH(QString, body);
        QFETCH(QStringList, warnings);
        const QString copier = body.isEmpty() ? path(u"no-such-copier"_s) : script(u"copier"_s, body);
        for (const QString &warning : std::as_const(warnings))
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
        auto fallback = std::make_unique<FakeClipboard>();
        const FakeClipboard *fallbackSeen = fallback.get();
        WlCopyClipboard clipboard(std::move(fallback), copier, 300ms);
        clipboard.setText(u"kept anyway"_s);
        QTRY_COMPARE(fallbackSeen->texts, QStringList{u"kept anyway"_s});
    }

    void copyingNeverWaitsForWlCopy()
    {
        auto fallback = std::make_unique<FakeClipboard>();
        const FakeClipboard *fallbackSeen = fallback.get();
        WlCopyClipboard clipboard(std::move(fallback), gatedCopier());
        clipboard.setText(u"later"_s);
        // Still under way: had setText waited for the copier, it would have run into its time limit by now.
        QVERIFY(log().isEmpty());
        QVERIFY(fallbackSeen->texts.isEmpty());
        openTheGate();
        QTRY_COMPARE(log(), "later\n"_ba);
        QVERIFY(fallbackSeen->texts.isEmpty());
    }

    void ofQuickCopiesTheLastOneLands()
    {
        WlCopyClipboard clipboard(std::make_unique<FakeClipboard>(), gatedCopier());
        clipboard.setText(u"first"_s);
        clipboard.setText(u"stale"_s);
        clipboard.setText(u"last"_s);
        openTheGate();
        QTRY_COMPARE(log(), "first\nlast\n"_ba);
        QTest::qWait(200);
        QCOMPARE(log(), "first\nlast\n"_ba);
    }

    void copiesUnderWayOutliveTheClipboard()
    {
        {
            WlCopyClipboard clipboard(std::make_unique<FakeClipboard>(), gatedCopier());
            clipboard.setText(u"copied"_s);
            clipboard.setText(u"then quit"_s);
            openTheGate();
        }
        QCOMPARE(log(), "copied\nthen quit\n"_ba);
    }
};

QTEST_GUILESS_MAIN(WlCopyClipboardTest)
#include "wl_copy_clipboard_test.moc"
