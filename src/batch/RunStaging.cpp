#include "RunStaging.h"

#include "BatchProgress.h"
#include "FileAccess.h"

#include <QStringList>

#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace kelvara::RunStaging {

namespace {

struct State
{
    std::mutex mutex;
    QStringList folders;
    bool stopping = false;
};

// Never destroyed: the signal thread may still use it while the process exits.
State& state()
{
    static State* s = new State;
    return *s;
}

void stopOn(int signal)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.stopping = true;
    for (const QString& folder : std::as_const(s.folders))
        removeFolder(folder, nullptr);
    if (::isatty(STDERR_FILENO))
        std::fputs("\n", stderr); // below the progress bar
    printError(QStringLiteral("kelvara-batch: stopped by %1; the case folders being written "
                              "were removed")
                   .arg(signal == SIGINT ? QStringLiteral("SIGINT") : QStringLiteral("SIGTERM")));
    // Without unwinding: the workers may be anywhere in a case.
    ::_exit(128 + signal);
}

} // namespace

void stopOnSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0)
        return;
    state();
    std::thread([set] {
        for (;;) {
            int signal = 0;
            if (sigwait(&set, &signal) == 0)
                stopOn(signal);
        }
    }).detach();
}

QString create(const QString& parent, QString* error)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.stopping) {
        *error = QStringLiteral("the run is stopping");
        return QString();
    }
    const QString folder = createStagingFolder(parent, error);
    if (!folder.isEmpty())
        s.folders << folder;
    return folder;
}

bool place(const QString& staging, const QString& target,
           const std::function<bool(const QString&)>& mayReplace, QString* error,
           bool* targetKept)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    const bool placed = replaceFolder(staging, target, mayReplace, error, targetKept);
    s.folders.removeOne(staging);
    return placed;
}

bool remove(const QString& staging, QString* error)
{
    const bool removed = removeFolder(staging, error);
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.folders.removeOne(staging);
    return removed;
}

std::unique_lock<std::mutex> hold()
{
    return std::unique_lock<std::mutex>(state().mutex);
}

} // namespace kelvara::RunStaging
