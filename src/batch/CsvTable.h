#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace kelvara {

// Manifests and summaries larger than this are not cohorts anyone would run on one machine.
constexpr qint64 kMaximumTableFileSize = qint64(128) * 1024 * 1024;

// A CSV table as spreadsheets write it (RFC 4180, UTF-8, optional BOM, CRLF or LF): one header
// row naming the columns, then records of exactly as many fields.
struct CsvTable
{
    QString path;
    QString sha256; // of the bytes read, in lower-case hex
    QStringList header;
    int headerLine = 1;
    struct Record
    {
        int line = 0; // the line the record starts on, for messages
        QStringList fields;
    };
    QList<Record> records;

    int column(const QString& name) const { return header.indexOf(name); }
    // "'file', line N: text", the form every table message takes.
    QString where(int line) const;
};

// Reads path through the bounded reader. A file that is not UTF-8, has an unterminated quote, a
// stray quote, a duplicate or empty column name, or a record with the wrong number of fields is
// refused with *error naming the file and the line. Empty lines are skipped: editors leave them
// at the end.
std::optional<CsvTable> readCsvTable(const QString& path, QString* error);
// The same on bytes already read from path (named in messages).
std::optional<CsvTable> parseCsvTable(const QByteArray& bytes, const QString& path,
                                      QString* error);

// One field as written: quoted only where a comma, quote or line break needs it.
QString csvField(const QString& text);
// One record line, ending in "\r\n" as RFC 4180 writes it.
QByteArray csvRecord(const QStringList& fields);

} // namespace kelvara
