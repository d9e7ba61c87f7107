#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace kelvara {

// Tasks run on Qt's shared thread pool. wait() runs every task the pool has not started yet
// (its threads may all be busy, with other cases of a batch for instance) on the calling
// thread, so waiting never depends on a free pool thread. An exception thrown by a task is
// rethrown by wait() once every task has finished.
class TaskGroup
{
public:
    TaskGroup();
    ~TaskGroup(); // waits; an exception is then dropped
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    void start(std::function<void()> task);
    void wait();

private:
    struct State;
    std::unique_ptr<State> state;
};

// Runs independent tasks at the same time (the first on the calling thread) and returns when
// every one has finished.
void runConcurrently(const std::vector<std::function<void()>>& tasks);

} // namespace kelvara
