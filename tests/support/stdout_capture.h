#pragma once

#include <QByteArray>
#include <QTemporaryFile>

#include <cstdio>
#include <unistd.h>

namespace TestSupport {

// Collects what the process writes to standard output while the object lives.
class StdoutCapture {
public:
    StdoutCapture()
    {
        std::fflush(stdout);
        m_file.open();
        m_saved = ::dup(STDOUT_FILENO);
        ::dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~StdoutCapture() { restore(); }
    StdoutCapture(const StdoutCapture &) = delete;
    StdoutCapture &operator=(const StdoutCapture &) = delete;

    QByteArray text()
    {
        std::fflush(stdout);
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    void restore()
    {
        if (m_saved < 0)
            return;
        std::fflush(stdout);
        ::dup2(m_saved, STDOUT_FILENO);
        ::close(m_saved);
        m_saved = -1;
    }
    QTemporaryFile m_file;
    int m_saved = -1;
};

} // namespace TestSupport
