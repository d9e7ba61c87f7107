#include "BatchProgress.h"
#include "CaseQueue.h"

#include <QTest>

#include <atomic>
#include <chrono>
#include <random>

using namespace kelvara;

class TestCaseQueue : public QObject
{
    Q_OBJECT

private slots:
    void inOrderAndBounded_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("jobs");
        QTest::newRow("sequential") << 7 << 1;
        QTest::newRow("two workers") << 16 << 2;
        QTest::newRow("more workers than cases") << 3 << 8;
        QTest::newRow("no cases") << 0 << 4;
    }

    // Cases finish out of order (random durations); done() must still see 0, 1, 2, ... on the
    // calling thread, and no more than `jobs` cases may run at once.
    void inOrderAndBounded()
    {
        QFETCH(int, count);
        QFETCH(int, jobs);
        std::atomic<int> running{0}, most{0};
        std::mt19937 random(42);
        std::vector<int> pause(std::size_t(count) + 1);
        for (int& p : pause)
            p = int(random() % 8);
        std::vector<int> seen;
        const auto caller = std::this_thread::get_id();
        bool onCaller = true;
        runInOrder<int>(
            count, jobs,
            [&](int i) {
                const int now = ++running;
                for (int m = most; now > m && !most.compare_exchange_weak(m, now);) {
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(pause[std::size_t(i)]));
                --running;
                return i * 10;
            },
            [&](int i, int& r) {
                onCaller = onCaller && std::this_thread::get_id() == caller;
                QCOMPARE(r, i * 10);
                seen.push_back(i);
            });
        std::vector<int> expected;
        for (int i = 0; i < count; ++i)
            expected.push_back(i);
        QCOMPARE(seen, expected);
        QVERIFY(onCaller);
        QVERIFY(most <= std::max(1, jobs));
    }

    void bar_data()
    {
        QTest::addColumn<int>("done");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("tail");
        QTest::newRow("start") << 0 << 0.0 << " 0/16  -- cases/s  --:-- left";
        QTest::newRow("a quarter in 2 s") << 4 << 2.0 << " 4/16  2.0 cases/s  0:06 left";
        QTest::newRow("slow cohort") << 1 << 300.0 << " 1/16  300 s/case  1:15:00 left";
    }

    void bar()
    {
        QFETCH(int, done);
        QFETCH(double, seconds);
        QFETCH(QString, tail);
        const QString bar = BatchProgress::bar(done, 16, seconds, 72);
        QVERIFY2(bar.endsWith(tail), qPrintable(bar));
        QCOMPARE(bar.count(QLatin1Char('#')), done * (bar.indexOf(']') - 1) / 16);
    }
};

QTEST_GUILESS_MAIN(TestCaseQueue)
#include "test_caseque.moc"
