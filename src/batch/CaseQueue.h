#pragma once

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace kelvara {

// Runs work(0) .. work(count - 1) on `jobs` worker threads and hands every result to done() on
// the calling thread in index order, so that whatever done() writes is the same for any number
// of jobs. A worker takes the next index only when it is free, so at most `jobs` cases are in
// memory at once besides the (small) results that wait for an earlier one.
template <typename Result>
void runInOrder(int count, int jobs, const std::function<Result(int)>& work,
                const std::function<void(int, Result&)>& done)
{
    jobs = std::max(1, std::min(jobs, count));
    if (jobs == 1) {
        for (int i = 0; i < count; ++i) {
            Result r = work(i);
            done(i, r);
        }
        return;
    }
    std::mutex mutex;
    std::condition_variable ready;
    std::map<int, Result> finished;
    int next = 0;
    std::vector<std::thread> workers;
    workers.reserve(std::size_t(jobs));
    for (int w = 0; w < jobs; ++w)
        workers.emplace_back([&] {
            for (;;) {
                int index;
                {
                    std::lock_guard<std::mutex> lock(mutex);
                    if (next == count)
                        return;
                    index = next++;
                }
                Result r = work(index);
                std::lock_guard<std::mutex> lock(mutex);
                finished.emplace(index, std::move(r));
                ready.notify_one();
            }
        });
    for (int i = 0; i < count; ++i) {
        std::optional<Result> r;
        {
            std::unique_lock<std::mutex> lock(mutex);
            ready.wait(lock, [&] { return finished.count(i) != 0; });
            auto it = finished.find(i);
            r.emplace(std::move(it->second));
            finished.erase(it);
        }
        done(i, *r);
    }
    for (std::thread& t : workers)
        t.join();
}

} // namespace kelvara
