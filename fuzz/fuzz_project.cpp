// Project and settings loading: any bytes through the loader of both layouts, with its
// findings. A file either cannot be used (and says why) or loads with every value inside what
// its control allows; findings name the file and a key of the layout; a value not used as
// written has a finding, and a load without findings writes back and reads again without any.
#include "ControlFile.h"
#include "StoredControlTable.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace kelvara;

const QString kPath = QStringLiteral("fuzz/case.kelvara");

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void keyPaths(const QJsonObject& o, const QString& prefix, QSet<QString>* paths)
{
    for (auto it = o.begin(); it != o.end(); ++it) {
        const QString path = prefix + it.key();
        paths->insert(path);
        if (it->isObject())
            keyPaths(it->toObject(), path + QLatin1Char('/'), paths);
        if (it->isArray())
            for (const QString& leaf : {QStringLiteral("Text"), QStringLiteral("Data")})
                paths->insert(path + QStringLiteral("/[]/") + leaf), paths->insert(path + "/[]");
    }
}

// Every key path a complete file of the layout holds, list indexes written as "[]".
const QSet<QString>& knownPaths(FileLayout layout)
{
    auto build = [](FileLayout l) {
        ImageSource source(QStringLiteral("p"), QStringLiteral("DICOM"));
        source.series = QStringLiteral("s"), source.slice = 1, source.bValue = 0;
        QSet<QString> paths;
        keyPaths(ControlFile(l).toJson({}, {source, source, source}), QString(), &paths);
        return paths;
    };
    static const QSet<QString> settings = build(FileLayout::Settings);
    static const QSet<QString> project = build(FileLayout::Project);
    return layout == FileLayout::Settings ? settings : project;
}

void checkLoad(FileLayout layout, const QByteArray& bytes)
{
    const ControlFile file(layout);
    const ControlFileLoad load = file.parse(bytes, kPath);
    if (!load.ok()) {
        check(load.error.startsWith(QLatin1Char('\'') + kPath + QStringLiteral("': ")));
        check(load.findings.isEmpty() && load.file.program.isEmpty());
        return;
    }
    check(load.file.program.size() <= StoredControlTable::maximumProgramEntries);
    static const QRegularExpression index(QStringLiteral("\\[\\d+\\]"));
    for (const LoadFinding& f : load.findings) {
        check(f.file == kPath && !f.what.isEmpty());
        check(f.message().startsWith(QStringLiteral("'%1': %2: ").arg(kPath, f.keyPath)));
        if (f.kind != FindingKind::Unknown && f.kind != FindingKind::Duplicate)
            check(knownPaths(layout).contains(QString(f.keyPath).replace(index, "[]")));
    }
    for (const StoredControl& c : load.file.controls) {
        const StoredControl held = c.limited();
        if (c.kind == ControlKind::ComboBox)
            check(held.integer >= -1 && held.integer <= c.maximum);
        else if (c.kind != ControlKind::CheckBox)
            check(held.kind == ControlKind::DoubleSpinBox
                      ? held.number >= c.minimum && held.number <= c.maximum
                      : held.integer >= c.minimum && held.integer <= c.maximum);
        // A value not used as written has a finding at its key or at an object on the way.
        if (!(held == c)) {
            const QString path = StoredControlTable::keyPath(layout, c.objectName);
            check(std::any_of(load.findings.begin(), load.findings.end(),
                              [&path](const LoadFinding& f) {
                                  return f.keyPath == path || path.startsWith(f.keyPath + '/');
                              }));
        }
    }
    if (load.findings.isEmpty()) {
        const ControlValues values = load.file.applyTo({});
        const ControlFileLoad again =
            file.parse(QJsonDocument(file.toJson(values, load.file.images)).toJson(), kPath);
        check(again.ok() && again.findings.isEmpty());
        check(again.file.applyTo({}).program == values.program);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    checkLoad(FileLayout::Settings, bytes);
    checkLoad(FileLayout::Project, bytes);
    return 0;
}
