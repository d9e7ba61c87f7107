#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace kelvara {

// What a settings or project load did to one key, beyond reading it as written. The window
// lists these after a load; kelvara-batch refuses a project with a serious one unless told to
// apply the window's rules.
enum class FindingKind {
    Missing,       // the default of the key's conversion was used
    WrongType,     // another JSON type than the key's; read as the conversion's default
    Clamped,       // outside the control's range
    Rounded,       // changed by the key's conversion or the control's decimals
    Duplicate,     // the key appears more than once in one object; only one occurrence is used
    Unknown,       // not a key of this file layout; ignored
    NoSuchItem,    // a combo index outside the combo's items; no item selected
    UnusableEntry, // a solution list entry that the calculation cannot use as written
    ImageType,     // an image type that no loader reads
    NoSuchImage    // a "Slice" or "BValue" that can name no image; that image's load fails
};

struct LoadFinding
{
    FindingKind kind = FindingKind::Missing;
    QString file;
    QString keyPath; // e.g. "DWI/Scale", "Program/[3]/Data"
    QString what;

    // Findings after which the loaded values are not those the file meant: kelvara-batch
    // refuses the project for them unless it applies the window's rules. NoSuchImage is not
    // one: the image's load fails in both front ends, naming what the series holds.
    bool serious() const;
    // "'file': key path: what happened", for messages and result.json.
    QString message() const;
};

// Key paths of the members that occur more than once in one object of a valid JSON document
// (the JSON reader keeps only one of them and says nothing), each path once, in document order.
// Objects deeper than maxDepth hold no key of ours and are not looked into.
QStringList duplicateKeyPaths(const QByteArray& json, int maxDepth = 16);

} // namespace kelvara
