#pragma once

#include "user_defaults/user_defaults.h"

#include <QObject>
#include <QStringList>
#include <QThreadPool>

// The texts the user can copy again, newest first, kept in defaults that other programs of the user (desktop
// widgets) read too. Writes wait for other writers' locks, so they run on a thread of their own, one after the
// other in the order made; changed() follows each one on this object's thread.
class CaptureHistory : public QObject {
    Q_OBJECT
public:
    explicit CaptureHistory(UserDefaults defaults, QObject *parent = nullptr);
    ~CaptureHistory() override;

    // As stored now: writes still running are not in it yet.
    QStringList entries() const;

    // Puts the text at the front, keeping the ten newest.
    void append(const QString &text);
    void clear();

Q_SIGNALS:
    void changed();

private:
    void write(std::function<void(UserDefaults &)> change);

    UserDefaults m_defaults;
    QThreadPool m_writer;
};
