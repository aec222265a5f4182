#pragma once

#include <QObject>
#include <QString>

// The process's in-process notification bus: posters name a notification and pass the object it is about;
// observers connect to `posted` (with a context object, so the connection ends with the observer).
// Main thread only. The default centre is created on first use and lives until the process ends.
class NotificationCenter : public QObject {
    Q_OBJECT
public:
    static NotificationCenter &defaultCenter();

    void post(const QString &name, QObject *object) { emit posted(name, object); }

signals:
    void posted(const QString &name, QObject *object);

private:
    NotificationCenter() = default;
};
