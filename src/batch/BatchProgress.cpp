#include "BatchProgress.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>

namespace kelvara {

namespace {

QString clockTime(double seconds)
{
    const qint64 s = qint64(std::llround(seconds));
    if (s >= 3600)
        return QStringLiteral("%1:%2:%3")
            .arg(s / 3600)
            .arg((s / 60) % 60, 2, 10, QLatin1Char('0'))
            .arg(s % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

QString terminalSafe(const QString& text)
{
    QString safe;
    safe.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || (u >= 0x7f && u <= 0x9f))
            safe += QStringLiteral("\\x%1").arg(unsigned(u), 2, 16, QLatin1Char('0'));
        else
            safe += c;
    }
    return safe;
}

void printError(const QString& line)
{
    const QByteArray bytes = (terminalSafe(line) + QLatin1Char('\n')).toLocal8Bit();
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

BatchProgress::BatchProgress(int total, bool terminal, std::FILE* out)
    : total(total), terminal(terminal), out(out)
{
    clock.start();
    if (terminal && total > 0)
        print(QLatin1Char('\r') + bar(0, total, 0.0, 72));
}

QString BatchProgress::bar(int done, int total, double seconds, int width)
{
    const QString count = QStringLiteral("%1/%2").arg(done, QString::number(total).size()).arg(total);
    QString rate = QStringLiteral("-- cases/s");
    QString left = QStringLiteral("--:-- left");
    if (done > 0 && seconds > 0.0) {
        const double perSecond = done / seconds;
        // Slow cases read better as seconds per case than as 0.0 cases per second.
        rate = perSecond >= 1.0
                   ? QStringLiteral("%1 cases/s").arg(perSecond, 0, 'f', perSecond < 10 ? 1 : 0)
                   : QStringLiteral("%1 s/case").arg(seconds / done, 0, 'f', seconds / done < 10 ? 1 : 0);
        left = clockTime((total - done) / perSecond) + QStringLiteral(" left");
    }
    const QString tail = QStringLiteral("  %1  %2  %3").arg(count, rate, left);
    const int cells = std::max(10, width - int(tail.size()) - 2);
    const int full = total > 0 ? int(qint64(cells) * done / total) : cells;
    return QLatin1Char('[') + QString(full, QLatin1Char('#')) +
           QString(cells - full, QLatin1Char('.')) + QLatin1Char(']') + tail;
}

void BatchProgress::caseFinished(const QString& line)
{
    ++done;
    if (!terminal) {
        print(QStringLiteral("[%1/%2] %3\n").arg(done).arg(total).arg(terminalSafe(line)));
        return;
    }
    // The case's line above, the bar redrawn below it.
    print(QStringLiteral("\r\x1b[K%1\n%2")
              .arg(terminalSafe(line), bar(done, total, double(clock.nsecsElapsed()) / 1e9, 72)));
}

void BatchProgress::note(const QString& line)
{
    if (!terminal) {
        print(terminalSafe(line) + QLatin1Char('\n'));
        return;
    }
    print(QStringLiteral("\r\x1b[K%1\n%2")
              .arg(terminalSafe(line), bar(done, total, double(clock.nsecsElapsed()) / 1e9, 72)));
}

void BatchProgress::finish()
{
    if (terminal && total > 0)
        print(QStringLiteral("\n"));
}

void BatchProgress::print(const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), out);
    std::fflush(out);
}

} // namespace kelvara
