#pragma once

#include <QFuture>
#include <QPromise>

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace Platform {

// One background thread that runs jobs one at a time, in the order they were submitted. Destroying the worker
// waits for the running job and cancels the queued ones (their futures report cancelled).
class SerialWorker {
public:
    // niceIncrement lowers the thread's scheduling priority (Linux threads have their own nice value).
    explicit SerialWorker(int niceIncrement = 0);
    ~SerialWorker();
    SerialWorker(const SerialWorker &) = delete;
    SerialWorker &operator=(const SerialWorker &) = delete;

    void post(std::function<void()> job);

    // Runs work() on the thread; the future resolves with its value, or with T{} when work() throws.
    template <typename T, typename Work> [[nodiscard]] QFuture<T> submit(Work work)
    {
        auto promise = std::make_shared<QPromise<T>>();
        promise->start();
        QFuture<T> future = promise->future();
        post([promise, work = std::move(work)]() mutable {
            T result{};
            try {
                result = work();
            } catch (const std::exception &) {
                // Out of memory on an absurd capture is the only known cause; the caller sees "nothing found".
            }
            promise->addResult(std::move(result));
            promise->finish();
        });
        return future;
    }

private:
    void run(int niceIncrement);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace Platform
