#include "BatchProgress.h"
#include "CaseQueue.h"

#include <QTest>

#include <atomic>
#include <cstdio>
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

    void progressEscapesLines_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::newRow("terminal") << true;
        QTest::newRow("log") << false;
    }

    // A name with an escape sequence reaches the progress output as text; only the bar's own
    // line handling ("\r\x1b[K" on a terminal) is a control sequence.
    void progressEscapesLines()
    {
        QFETCH(bool, terminal);
        std::FILE* out = std::tmpfile();
        QVERIFY(out);
        {
            BatchProgress progress(2, terminal, out);
            progress.note(QStringLiteral("note: a\x1b]0;title\x07" "b"));
            progress.caseFinished(QStringLiteral("c\x1b[2Jd: NO PATHOLOGY DETECTED"));
            progress.finish();
        }
        std::rewind(out);
        QByteArray written(4096, '\0');
        written.resize(qsizetype(std::fread(written.data(), 1, std::size_t(written.size()), out)));
        std::fclose(out);
        QVERIFY2(written.contains("note: a\\x1b]0;title\\x07b\n"), written.constData());
        QVERIFY2(written.contains("c\\x1b[2Jd: NO PATHOLOGY DETECTED\n"), written.constData());
        QCOMPARE(written.count('\x1b'), written.count("\r\x1b[K"));
        QCOMPARE(written.count('\x07'), 0);
    }
};

QTEST_GUILESS_MAIN(TestCaseQueue)
#include "test_caseque.moc"
