// Settings and project model: any bytes, parsed as JSON, read as a settings file and as a
// project file and applied to the controls. The values applied must stay inside what the
// controls allow.
#include "ControlFile.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void checkLimits(const kelvara::ControlValues& c)
{
    check(c.hCells >= 1 && c.hCells <= 1000 && c.vCells >= 1 && c.vCells <= 1000);
    check(c.hPos >= -500 && c.hPos <= 500 && c.vPos >= -500 && c.vPos <= 500);
    for (const auto& s : c.symmetry)
        check(s.rectX >= 0 && s.rectY >= 0 && s.circleRadius >= 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QJsonDocument document = QJsonDocument::fromJson(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)));
    const QJsonObject root = document.object(); // empty for anything but an object
    const kelvara::ControlValues before;
    const kelvara::ControlFile settingsFile = kelvara::ControlFile::settings();
    const kelvara::ControlValues settings = settingsFile.fromJson(root).applyTo(before);
    checkLimits(settings);
    const kelvara::StoredFile project = kelvara::ControlFile::project().fromJson(root);
    checkLimits(project.applyTo(before));

    // What was read is written back and reads the same.
    const kelvara::ControlValues again =
        settingsFile.fromJson(settingsFile.toJson(settings)).applyTo(before);
    check(again.program == settings.program);
    return 0;
}
