// Replays a harness over every file of the given corpus folders (or single files), without
// libFuzzer: the regression inputs of past crashes and the seeds run in every test run.
#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        const QString root = QString::fromLocal8Bit(argv[i]);
        QStringList files;
        if (QFileInfo(root).isDir()) {
            QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                files << it.next();
        } else {
            files << root;
        }
        files.sort();
        for (const QString& path : files) {
            QFile f(path);
            if (!f.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
                return 2;
            }
            const QByteArray bytes = f.readAll();
            std::printf("%s\n", qPrintable(path));
            std::fflush(stdout); // a crash then names its input
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.constData()),
                                   size_t(bytes.size()));
            ++inputs;
        }
    }
    std::printf("%d inputs replayed\n", inputs);
    return inputs > 0 ? 0 : 1;
}
