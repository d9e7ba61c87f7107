#include "LoadFinding.h"

#include "FileAccess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <vector>

namespace kelvara {

bool LoadFinding::serious() const
{
    switch (kind) {
    case FindingKind::Missing:
    case FindingKind::WrongType:
    case FindingKind::NoSuchItem:
    case FindingKind::UnusableEntry:
    case FindingKind::ImageType:
        return true;
    case FindingKind::Clamped:
    case FindingKind::Rounded:
    case FindingKind::Duplicate:
    case FindingKind::Unknown:
    case FindingKind::NoSuchImage:
        return false;
    }
    return true;
}

QString LoadFinding::message() const
{
    return QStringLiteral("'%1': %2: %3").arg(displayPath(file), keyPath, what);
}

namespace {

struct Frame
{
    bool object = false;
    QString path;
    QString lastKey;
    int index = 0;
    QSet<QString> keys, reported;

    QString childPath() const
    {
        const QString part = object ? lastKey : QStringLiteral("[%1]").arg(index);
        return path.isEmpty() ? part : path + QLatin1Char('/') + part;
    }
};

// The text of a JSON string token without its quotes; escapes are left to the JSON reader.
QString decodeString(const QByteArray& raw)
{
    if (!raw.contains('\\'))
        return QString::fromUtf8(raw);
    return QJsonDocument::fromJson("[\"" + raw + "\"]").array().at(0).toString();
}

} // namespace

QStringList duplicateKeyPaths(const QByteArray& json, int maxDepth)
{
    QStringList found;
    std::vector<Frame> frames;
    int deeper = 0; // open containers below maxDepth, only counted
    bool keyNext = false;
    const char* p = json.constData();
    const qsizetype n = json.size();
    for (qsizetype i = 0; i < n; ++i) {
        const char c = p[i];
        if (c == '"') {
            qsizetype end = i + 1;
            while (end < n && p[end] != '"')
                end += p[end] == '\\' ? 2 : 1;
            if (keyNext && deeper == 0 && !frames.empty()) {
                Frame& f = frames.back();
                f.lastKey = decodeString(QByteArray(p + i + 1, qMin(end, n) - i - 1));
                if (f.keys.contains(f.lastKey) && !f.reported.contains(f.lastKey)) {
                    f.reported.insert(f.lastKey);
                    found << f.childPath();
                }
                f.keys.insert(f.lastKey);
            }
            keyNext = false;
            i = end;
        } else if (c == '{' || c == '[') {
            if (deeper > 0 || int(frames.size()) >= maxDepth) {
                ++deeper;
            } else {
                Frame f;
                f.object = c == '{';
                f.path = frames.empty() ? QString() : frames.back().childPath();
                frames.push_back(std::move(f));
            }
            keyNext = c == '{';
        } else if (c == '}' || c == ']') {
            if (deeper > 0)
                --deeper;
            else if (!frames.empty())
                frames.pop_back();
        } else if (c == ',' && deeper == 0 && !frames.empty()) {
            keyNext = frames.back().object;
            ++frames.back().index;
        }
    }
    return found;
}

} // namespace kelvara
