// Tasks run at the same time must each run exactly once and report their failure, also when
// every thread of the shared pool is busy (as with a batch running cases on all of them).
#include "Parallel.h"

#include <QSemaphore>
#include <QThreadPool>
#include <QtTest>

#include <atomic>
#include <stdexcept>

class TestParallel : public QObject
{
    Q_OBJECT

private slots:
    void everyTaskRunsOnceAndFailuresArrive_data()
    {
        QTest::addColumn<bool>("poolBusy");
        QTest::addColumn<int>("failing"); // index of the task that throws, -1 for none
        QTest::newRow("free pool") << false << -1;
        QTest::newRow("busy pool") << true << -1;
        QTest::newRow("a pool task fails") << false << 3;
        QTest::newRow("the caller's task fails") << true << 0;
    }
    void everyTaskRunsOnceAndFailuresArrive()
    {
        QFETCH(bool, poolBusy);
        QFETCH(int, failing);
        QThreadPool* pool = QThreadPool::globalInstance();
        pool->setMaxThreadCount(2);
        // The pool's threads stay busy until the tasks have run; if running them needed a pool
        // thread, the blockers give up after a while and say so.
        QSemaphore release;
        std::atomic<int> gaveUp = 0;
        if (poolBusy)
            for (int i = 0; i < pool->maxThreadCount(); ++i)
                pool->start([&]() { gaveUp += !release.tryAcquire(1, 3000); });
        std::atomic<int> runs[5] = {};
        std::vector<std::function<void()>> tasks;
        for (int i = 0; i < 5; ++i)
            tasks.push_back([&runs, i, failing]() {
                ++runs[i];
                if (i == failing)
                    throw std::runtime_error("task failed");
            });
        bool thrown = false;
        try {
            kelvara::runConcurrently(tasks);
        } catch (const std::runtime_error&) {
            thrown = true;
        }
        release.release(pool->maxThreadCount());
        pool->waitForDone();
        QCOMPARE(gaveUp.load(), 0);
        QCOMPARE(thrown, failing >= 0);
        for (const auto& n : runs)
            QCOMPARE(n.load(), 1);
    }
};

QTEST_GUILESS_MAIN(TestParallel)
#include "test_parallel.moc"
