#pragma once

#include <QByteArray>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QtEndian>

#include <vector>

namespace batchtest {

struct Run
{
    int exitCode = -1;
    QString out, err;
};

// wrapper: a program and its arguments that start kelvara-batch (e.g. in a namespace);
// workingDir: where it runs, as a user runs it there (the test's own folder when empty).
inline Run runBatch(const QStringList& args, const QStringList& wrapper = {},
                    const QString& workingDir = {})
{
    QProcess p;
    if (!workingDir.isEmpty())
        p.setWorkingDirectory(workingDir);
    const QStringList command = wrapper + QStringList{QStringLiteral(KELVARA_BATCH_EXE)} + args;
    p.start(command.first(), command.mid(1));
    Run r;
    if (!p.waitForFinished(120000) || p.exitStatus() != QProcess::NormalExit)
        return r;
    r.exitCode = p.exitCode();
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

inline bool writeText(const QString& path, const QByteArray& text)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(text) == text.size();
}

inline QByteArray readText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline QJsonObject readJson(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(f.readAll()).object() : QJsonObject();
}

// A .npy float64 array read back by the format's own rules (not by the writer's code).
struct Npy
{
    int rows = 0, cols = 0;
    std::vector<double> data;
    double at(int y, int x) const { return data[std::size_t(y) * cols + x]; }
};

inline bool readNpy(const QString& path, Npy* npy)
{
    QFile f(path);
    const QByteArray b = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    if (b.size() < 10 || !b.startsWith("\x93NUMPY"))
        return false;
    const qsizetype offset = 10 + qFromLittleEndian<quint16>(b.constData() + 8);
    const QString header = QString::fromLatin1(b.mid(10, offset - 10));
    const QStringList shape = header.section('(', 1).section(')', 0, 0).split(',', Qt::SkipEmptyParts);
    if (!header.contains("'<f8'") || !header.contains("False") || shape.size() != 2)
        return false;
    npy->rows = shape[0].trimmed().toInt();
    npy->cols = shape[1].trimmed().toInt();
    const qsizetype n = qsizetype(npy->rows) * npy->cols;
    if (offset % 64 != 0 || b.size() != offset + n * 8)
        return false;
    npy->data.resize(std::size_t(n));
    for (qsizetype i = 0; i < n; ++i)
        npy->data[std::size_t(i)] = qFromLittleEndian<double>(b.constData() + offset + i * 8);
    return true;
}

} // namespace batchtest
