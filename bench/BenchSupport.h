// What several benchmarks share: the heavy sample case and the size of the thread pool.
#pragma once

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QThreadPool>

// The shared pool limited to n threads while this lives; with 1 every task runs on the calling
// thread, one after the other, as before the pool was used.
class PoolSize
{
public:
    explicit PoolSize(int n) : previous(QThreadPool::globalInstance()->maxThreadCount())
    {
        QThreadPool::globalInstance()->setMaxThreadCount(n);
    }
    ~PoolSize() { QThreadPool::globalInstance()->setMaxThreadCount(previous); }
    PoolSize(const PoolSize&) = delete;
    PoolSize& operator=(const PoolSize&) = delete;

private:
    int previous;
};

// The heavy sample case of the batch benchmarks: the lesion project with radius-100 disc
// smoothing on all three modalities, image paths made absolute.

// The project written into dir; empty when the sample cannot be read or the copy written.
inline QString heavyProject(const QTemporaryDir& dir)
{
    const QString samples = QStringLiteral(KELVARA_SOURCE_DIR "/samples");
    QFile in(samples + QStringLiteral("/lesion.kelvara"));
    if (!in.open(QIODevice::ReadOnly))
        return QString();
    QJsonObject root = QJsonDocument::fromJson(in.readAll()).object();
    for (const char* m : {"T2", "DWI", "ADC"}) {
        QJsonObject image = root.value(QLatin1String(m)).toObject();
        image.insert(QStringLiteral("Path"), QDir(samples).absoluteFilePath(
                                                 image.value(QStringLiteral("Path")).toString()));
        root.insert(QLatin1String(m), image);
        const QString symKey = QLatin1String(m) + QStringLiteral("Sym");
        QJsonObject sym = root.value(symKey).toObject();
        QJsonObject filter = sym.value(QStringLiteral("Filter")).toObject();
        filter.insert(QStringLiteral("Shape"), 1);
        filter.insert(QStringLiteral("CircleRad"), 100);
        sym.insert(QStringLiteral("Filter"), filter);
        root.insert(symKey, sym);
    }
    const QString path = dir.filePath(QStringLiteral("lesion_r100.kelvara"));
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(QJsonDocument(root).toJson()) < 0)
        return QString();
    return path;
}
