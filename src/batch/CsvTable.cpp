#include "CsvTable.h"

#include "FileAccess.h"

#include <QCryptographicHash>
#include <QSet>
#include <QStringDecoder>

namespace kelvara {

namespace {

// Splits text into records of fields; *error gets "line N: reason" on a broken quote.
bool splitRecords(const QString& text, QList<CsvTable::Record>* records, QString* error)
{
    int line = 1;
    CsvTable::Record record;
    QString field;
    bool quoted = false;     // inside a quoted field
    bool afterQuote = false; // a quoted field just closed: only a separator may follow
    bool blank = true;       // nothing seen on this record yet
    int quoteLine = 0;
    auto endRecord = [&]() {
        if (!blank) {
            record.fields << field;
            records->append(record);
        }
        record = CsvTable::Record();
        field.clear();
        blank = true;
        afterQuote = false;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (quoted) {
            if (c == QLatin1Char('"')) {
                if (i + 1 < text.size() && text[i + 1] == QLatin1Char('"')) {
                    field += c;
                    ++i;
                } else {
                    quoted = false;
                    afterQuote = true;
                }
            } else {
                if (c == QLatin1Char('\n'))
                    ++line;
                field += c;
            }
            continue;
        }
        if (blank) {
            record.line = line;
        }
        if (c == QLatin1Char('\r') && i + 1 < text.size() && text[i + 1] == QLatin1Char('\n'))
            continue; // the \n ends the record
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r')) {
            endRecord();
            ++line;
        } else if (c == QLatin1Char(',')) {
            record.fields << field;
            field.clear();
            blank = false;
            afterQuote = false;
        } else if (afterQuote) {
            *error = QStringLiteral("line %1: text after the closing quote of a field").arg(line);
            return false;
        } else if (c == QLatin1Char('"')) {
            if (!field.isEmpty()) {
                *error = QStringLiteral("line %1: a quote inside an unquoted field (quote the "
                                        "whole field and double the quote)")
                             .arg(line);
                return false;
            }
            quoted = true;
            quoteLine = line;
            blank = false;
        } else {
            field += c;
            blank = false;
        }
    }
    if (quoted) {
        *error =
            QStringLiteral("line %1: the quoted field that starts here never ends").arg(quoteLine);
        return false;
    }
    endRecord();
    return true;
}

} // namespace

QString CsvTable::where(int line) const
{
    return QStringLiteral("'%1', line %2").arg(displayPath(path)).arg(line);
}

std::optional<CsvTable> readCsvTable(const QString& path, QString* error)
{
    const std::optional<QByteArray> bytes = readRegularFile(path, kMaximumTableFileSize, error);
    if (!bytes)
        return std::nullopt;
    return parseCsvTable(*bytes, path, error);
}

std::optional<CsvTable> parseCsvTable(const QByteArray& bytes, const QString& path,
                                      QString* error)
{
    CsvTable table;
    table.path = path;
    table.sha256 =
        QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    QStringDecoder decode(QStringDecoder::Utf8);
    QString text = decode(bytes);
    if (decode.hasError()) {
        *error = QStringLiteral("'%1': not UTF-8 text").arg(displayPath(path));
        return std::nullopt;
    }
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    QString reason;
    if (!splitRecords(text, &table.records, &reason)) {
        *error = QStringLiteral("'%1', %2").arg(displayPath(path), reason);
        return std::nullopt;
    }
    if (table.records.isEmpty()) {
        *error = QStringLiteral("'%1': empty, a header line is needed").arg(displayPath(path));
        return std::nullopt;
    }
    const CsvTable::Record header = table.records.takeFirst();
    table.headerLine = header.line;
    QSet<QString> seen;
    for (const QString& raw : header.fields) {
        // Spaces around a name come from hand-typed headers and never mean anything.
        const QString name = raw.trimmed();
        if (name.isEmpty() || seen.contains(name)) {
            *error = table.where(header.line) +
                     (name.isEmpty() ? QStringLiteral(": a column has no name")
                                     : QStringLiteral(": the column '%1' appears twice").arg(name));
            return std::nullopt;
        }
        seen.insert(name);
        table.header << name;
    }
    for (const CsvTable::Record& r : std::as_const(table.records))
        if (r.fields.size() != table.header.size()) {
            *error = table.where(r.line) + QStringLiteral(": %1 fields, the header has %2")
                                               .arg(r.fields.size())
                                               .arg(table.header.size());
            return std::nullopt;
        }
    return table;
}

QString csvField(const QString& text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
        !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')))
        return text;
    QString q = text;
    q.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + q + QLatin1Char('"');
}

QByteArray csvRecord(const QStringList& fields)
{
    QStringList out;
    out.reserve(fields.size());
    for (const QString& f : fields)
        out << csvField(f);
    return out.join(QLatin1Char(',')).toUtf8() + "\r\n";
}

} // namespace kelvara
