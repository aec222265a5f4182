#pragma once

#include "platform/clipboard.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>

class QProcess;

namespace Platform {

// The Wayland clipboard through wl-clipboard's wl-copy, which sets the selection with the compositor's
// data-control protocol (wlroots, KDE) and serves it from a background process of its own: the text stays after
// Scrivlet's windows are gone and after Scrivlet quits. Where wl-copy is missing, fails or hangs, the text goes
// to the fallback. Owns its fallback and the wl-copy it is waiting for.
class WlCopyClipboard final : public QObject, public Clipboard {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds defaultTimeLimit{5000};

    // program is looked up on PATH at every copy, so that one installed while Scrivlet runs is used at once.
    explicit WlCopyClipboard(std::unique_ptr<Clipboard> fallback, QString program = QStringLiteral("wl-copy"),
                             std::chrono::milliseconds timeLimit = defaultTimeLimit);
    // Waits a moment for a copy still under way, so that text copied just before Quit is not lost.
    ~WlCopyClipboard() override;

    void setText(const QString &text) override;

private:
    void start(const QString &text);
    void finish(QProcess *finished);
    void fallBack(const QString &text);

    std::unique_ptr<Clipboard> m_fallback;
    QString m_program;
    std::chrono::milliseconds m_timeLimit;
    std::unique_ptr<QProcess> m_running;
    QString m_runningText;
    std::optional<QString> m_next; // set while one runs; only the newest waits, the ones before it are stale
    bool m_saidMissing = false;
};

} // namespace Platform
