#pragma once

#include <functional>
#include <vector>

namespace kelvara {

// Runs independent tasks at the same time, on Qt's shared thread pool and the calling thread,
// and returns when every one has finished. A task the pool has not started yet (its threads
// may all be busy with other cases of a batch) is run by the caller, so waiting here never
// depends on a free pool thread. An exception thrown by a task is rethrown here once all have
// finished.
void runConcurrently(const std::vector<std::function<void()>>& tasks);

} // namespace kelvara
