#include "Manifest.h"

#include "CohortSummary.h"
#include "CsvTable.h"
#include "FileAccess.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

namespace kelvara {

QString labelText(const CaseLabel& label)
{
    return label ? (*label ? QStringLiteral("1") : QStringLiteral("0")) : QString();
}

bool parseLabel(const QString& text, CaseLabel* label)
{
    const QString t = text.trimmed();
    if (t.isEmpty())
        label->reset();
    else if (t == QLatin1String("1") || t == QLatin1String("0"))
        *label = t == QLatin1String("1");
    else
        return false;
    return true;
}

namespace {

std::optional<Manifest> manifestOf(const std::optional<CsvTable>& table, QString* error)
{
    if (!table)
        return std::nullopt;
    const int projectColumn = table->column(QStringLiteral("project"));
    const int labelColumn = table->column(QStringLiteral("label"));
    if (projectColumn < 0) {
        *error = table->where(table->headerLine) + QStringLiteral(": no 'project' column");
        return std::nullopt;
    }
    Manifest m;
    m.path = table->path;
    m.sha256 = table->sha256;
    QList<int> extraColumns;
    for (int c = 0; c < table->header.size(); ++c) {
        if (c == projectColumn || c == labelColumn)
            continue;
        const QString& name = table->header[c];
        if (summaryColumns().contains(name)) {
            *error = table->where(table->headerLine) +
                     QStringLiteral(": the column '%1' is one summary.csv writes itself; rename it")
                         .arg(name);
            return std::nullopt;
        }
        m.extraColumns << name;
        extraColumns << c;
    }
    const QDir folder = QFileInfo(m.path).absoluteDir();
    QHash<QString, int> lineOf; // canonical project path -> the row's line
    for (const CsvTable::Record& r : table->records) {
        Manifest::Row row;
        row.line = r.line;
        row.project = r.fields[projectColumn];
        if (row.project.trimmed().isEmpty()) {
            *error = table->where(r.line) + QStringLiteral(": the project cell is empty");
            return std::nullopt;
        }
        row.projectPath = QDir::cleanPath(folder.filePath(row.project));
        // Links and "a/../b" name one file; a file that is not there is compared as written.
        QString canonical = QFileInfo(row.projectPath).canonicalFilePath();
        if (canonical.isEmpty())
            canonical = row.projectPath;
        if (const auto earlier = lineOf.constFind(canonical); earlier != lineOf.cend()) {
            *error = QStringLiteral("'%1', lines %2 and %3: both name the project file '%4'; a "
                                    "case listed twice would count twice in the evaluation")
                         .arg(displayPath(m.path))
                         .arg(*earlier)
                         .arg(r.line)
                         .arg(displayPath(canonical));
            return std::nullopt;
        }
        lineOf.insert(canonical, r.line);
        if (labelColumn >= 0 && !parseLabel(r.fields[labelColumn], &row.label)) {
            *error =
                table->where(r.line) +
                QStringLiteral(": label '%1' is not 1 (pathology), 0 (none) or empty (unknown)")
                    .arg(r.fields[labelColumn]);
            return std::nullopt;
        }
        for (int c : std::as_const(extraColumns))
            row.extra << r.fields[c];
        m.rows << row;
    }
    return m;
}

} // namespace

std::optional<Manifest> readManifest(const QString& path, QString* error)
{
    return manifestOf(readCsvTable(path, error), error);
}

std::optional<Manifest> parseManifest(const QByteArray& bytes, const QString& path,
                                      QString* error)
{
    return manifestOf(parseCsvTable(bytes, path, error), error);
}

} // namespace kelvara
