#include "Parallel.h"

#include <QRunnable>
#include <QSemaphore>
#include <QThreadPool>

#include <exception>

namespace kelvara {

namespace {

class Task : public QRunnable
{
public:
    Task(std::function<void()> work, QSemaphore& done) : work(std::move(work)), done(done)
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
        work = nullptr; // what the task captured goes now, not with the group
        done.release();
    }
    std::exception_ptr failure;

private:
    std::function<void()> work;
    QSemaphore& done;
};

} // namespace

struct TaskGroup::State
{
    QSemaphore done;
    std::vector<std::unique_ptr<Task>> tasks;
};

TaskGroup::TaskGroup() : state(std::make_unique<State>()) {}

TaskGroup::~TaskGroup()
{
    try {
        wait();
    } catch (...) {
    }
}

void TaskGroup::start(std::function<void()> task)
{
    state->tasks.push_back(std::make_unique<Task>(std::move(task), state->done));
    Task* t = state->tasks.back().get();
    QThreadPool* pool = QThreadPool::globalInstance();
    if (pool->maxThreadCount() < 2)
        t->run(); // one core: no thread to wait for
    else
        pool->start(t);
}

void TaskGroup::wait()
{
    QThreadPool* pool = QThreadPool::globalInstance();
    for (const auto& t : state->tasks)
        if (pool->tryTake(t.get()))
            t->run();
    state->done.acquire(int(state->tasks.size()));
    std::exception_ptr failure;
    for (const auto& t : state->tasks)
        if (!failure && t->failure)
            failure = t->failure;
    state->tasks.clear();
    if (failure)
        std::rethrow_exception(failure);
}

void runConcurrently(const std::vector<std::function<void()>>& tasks)
{
    if (tasks.empty())
        return;
    TaskGroup group;
    for (std::size_t i = 1; i < tasks.size(); ++i)
        group.start(tasks[i]);
    std::exception_ptr failure;
    try {
        tasks[0]();
    } catch (...) {
        failure = std::current_exception();
    }
    group.wait();
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace kelvara
