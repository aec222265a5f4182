#include "app/capture_history.h"

#include "app/preferences.h"

#include <QtConcurrent/QtConcurrentRun>

#include <utility>

CaptureHistory::CaptureHistory(UserDefaults defaults, QObject *parent)
    : QObject(parent), m_defaults(std::move(defaults))
{
    m_writer.setMaxThreadCount(1); // in order: a clear made after an append must end empty
}

CaptureHistory::~CaptureHistory()
{
    // Whatever the user was told is saved gets saved.
    m_writer.waitForDone();
}

QStringList CaptureHistory::entries() const
{
    return textHistory(m_defaults);
}

void CaptureHistory::append(const QString &text)
{
    write([text](UserDefaults &defaults) { prependToTextHistory(defaults, text); });
}

void CaptureHistory::clear()
{
    write([](UserDefaults &defaults) { setTextHistory(defaults, {}); });
}

void CaptureHistory::write(std::function<void(UserDefaults &)> change)
{
    QtConcurrent::run(&m_writer, [defaults = m_defaults, change = std::move(change)]() mutable {
        change(defaults);
    }).then(this, [this] { Q_EMIT changed(); });
}
