#pragma once

#include <QString>

#include <functional>
#include <mutex>

namespace kelvara {

// The staging folders of a run (each case folder is written under a hidden name and then put in
// place), made and put in place through here so that an interrupted run leaves none behind:
// after stopOnSignals, SIGINT or SIGTERM removes every staging folder of the run and ends the
// process with 128 + the signal's number (130, 143), as a shell reports a process ended by it.
// No staging folder is made after that removal, and none is removed while it is being put in
// place. Without stopOnSignals the folders are only tracked (a case run on its own).
namespace RunStaging {

// Blocks both signals in the calling thread and so in every thread started from it later (the
// workers, the image encoder's pool) and waits for them on a thread of its own. Call once,
// before any other thread is started.
void stopOnSignals();

// createStagingFolder, tracked; empty with *error set when it cannot be made or the run is
// stopping.
QString create(const QString& parent, QString* error);

// replaceFolder under the lock that the removal on a signal takes, then untracked.
bool place(const QString& staging, const QString& target,
           const std::function<bool(const QString&)>& mayReplace, QString* error,
           bool* targetKept);

// removeFolder, untracked.
bool remove(const QString& staging, QString* error);

// Holds off the removal on a signal while it lives (the run's last writes), so that a signal
// ends the process only once they are complete.
std::unique_lock<std::mutex> hold();

} // namespace RunStaging

} // namespace kelvara
