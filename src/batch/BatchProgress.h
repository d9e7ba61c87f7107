#pragma once

#include <QElapsedTimer>
#include <QString>

#include <cstdio>

namespace kelvara {

// Text as it may reach a terminal: control characters (C0 including ESC, DEL, C1), with which a
// file name could move the cursor or drive the terminal, written as "\x1b". Everything
// kelvara-batch says on stderr goes through here; files keep the real text.
QString terminalSafe(const QString& text);

// One line on stderr, through terminalSafe.
void printError(const QString& line);

// What kelvara-batch tells about a run while it goes: on a terminal one bar, redrawn in place,
// with the count, the rate and the time left; in a log (not a terminal) one line per finished
// case, so that nothing is lost to carriage returns.
class BatchProgress
{
public:
    BatchProgress(int total, bool terminal, std::FILE* out = stderr);
    // A case finished; `line` says which and how it ended. Lines go through terminalSafe.
    void caseFinished(const QString& line);
    // A line that is not a finished case (a note): above the bar on a terminal, as it is otherwise.
    void note(const QString& line);
    // Ends the bar's line (terminal only).
    void finish();

    // "[#######.............]  7/16  2.5 cases/s  0:04 left", to fit `width` columns.
    static QString bar(int done, int total, double seconds, int width);

private:
    void print(const QString& text);

    int total;
    int done = 0;
    bool terminal;
    std::FILE* out;
    QElapsedTimer clock;
};

} // namespace kelvara
