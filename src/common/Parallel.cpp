#include "Parallel.h"

#include <QRunnable>
#include <QSemaphore>
#include <QThreadPool>

#include <exception>
#include <memory>

namespace kelvara {

namespace {

class Task : public QRunnable
{
public:
    Task(const std::function<void()>& work, QSemaphore& done) : work(work), done(done)
    {
        setAutoDelete(false);
    }
    void run() override
    {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        done.release();
    }
    std::exception_ptr failure;

private:
    const std::function<void()>& work;
    QSemaphore& done;
};

} // namespace

void runConcurrently(const std::vector<std::function<void()>>& tasks)
{
    QThreadPool* pool = QThreadPool::globalInstance();
    if (tasks.size() < 2 || pool->maxThreadCount() < 2) {
        for (const auto& task : tasks)
            task();
        return;
    }
    QSemaphore done;
    std::vector<std::unique_ptr<Task>> queued;
    for (std::size_t i = 1; i < tasks.size(); ++i) {
        queued.push_back(std::make_unique<Task>(tasks[i], done));
        pool->start(queued.back().get());
    }
    Task first(tasks[0], done);
    first.run();
    for (const auto& task : queued)
        if (pool->tryTake(task.get()))
            task->run();
    done.acquire(int(tasks.size()));
    if (first.failure)
        std::rethrow_exception(first.failure);
    for (const auto& task : queued)
        if (task->failure)
            std::rethrow_exception(task->failure);
}

} // namespace kelvara
