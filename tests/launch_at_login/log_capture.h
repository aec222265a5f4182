#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

namespace LaunchAtLoginTesting {

// Collects every message the process logs while it lives, with its category and level. One at a time.
class LogCapture {
public:
    struct Message {
        QtMsgType type;
        QByteArray category;
        QString text;
    };

    LogCapture() : m_previous(qInstallMessageHandler(&LogCapture::handle)) { current() = this; }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        current() = nullptr;
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    QList<Message> mentioning(const QString &words) const
    {
        QList<Message> found;
        std::copy_if(m_messages.cbegin(), m_messages.cend(), std::back_inserter(found),
                     [&](const Message &message) { return message.text.contains(words); });
        return found;
    }

private:
    static LogCapture *&current()
    {
        static LogCapture *capture = nullptr;
        return capture;
    }
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        current()->m_messages.append({type, QByteArray(context.category), text});
    }

    QtMessageHandler m_previous;
    QList<Message> m_messages;
};

} // namespace LaunchAtLoginTesting
