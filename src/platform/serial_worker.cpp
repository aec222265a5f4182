#include "platform/serial_worker.h"

#include <sys/resource.h>
#include <unistd.h>

namespace Platform {

SerialWorker::SerialWorker(int niceIncrement) : m_thread([this, niceIncrement] { run(niceIncrement); }) {}

SerialWorker::~SerialWorker()
{
    std::deque<std::function<void()>> dropped;
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        dropped.swap(m_jobs);
    }
    m_wake.notify_one();
    m_thread.join();
    // Dropping the jobs destroys their unfinished promises, which cancels the futures.
}

void SerialWorker::post(std::function<void()> job)
{
    {
        std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
    }
    m_wake.notify_one();
}

void SerialWorker::run(int niceIncrement)
{
    if (niceIncrement > 0)
        setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), getpriority(PRIO_PROCESS, 0) + niceIncrement);
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
            if (m_stopping)
                return;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
}

} // namespace Platform
