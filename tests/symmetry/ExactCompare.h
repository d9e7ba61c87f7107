#pragma once

#include <QString>
#include <QTest>

// QCOMPARE treats doubles as equal within a tolerance; the smoothing promises the very same
// bits, so these checks compare with ==.
#define COMPARE_EXACT(actual, expected)                                                            \
    do {                                                                                           \
        const double actual_ = (actual);                                                           \
        const double expected_ = (expected);                                                       \
        if (!(actual_ == expected_))                                                               \
            QFAIL(qPrintable(QString("%1 is %2, expected %3")                                      \
                                 .arg(QString::fromLatin1(#actual))                                \
                                 .arg(actual_, 0, 'g', 17)                                         \
                                 .arg(expected_, 0, 'g', 17)));                                    \
    } while (false)
