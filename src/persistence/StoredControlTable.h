#pragma once

#include "ControlValues.h"
#include "ImageSource.h"
#include "LoadFinding.h"
#include "StoredControl.h"
#include "StoredFile.h"

#include <QJsonObject>

#include <array>

namespace kelvara {

// The stored controls of the settings and project files, kept in one table: for each control
// its key path, its widget (objectName, kind, limits), how it is read back and its field of
// ControlValues. Writing, reading and applying all walk that table, so the three cannot
// disagree; outside the form it is the only place a control's limits and rounding live (a test
// checks it against the real form).
class StoredControlTable
{
public:
    // The whole document: JSON types follow the controls (doubles from double spin boxes,
    // integers from spin boxes, sliders and combo indexes, booleans from check boxes), the
    // solution list as "Program". A project also records the three image sources.
    static QJsonObject build(FileLayout layout, const ControlValues& values,
                             const std::array<ImageSource, 3>& images = {});

    // Every key read with its conversion; a missing key or a value of another JSON type reads
    // as the conversion's default (0, 0.0, false, empty string, empty list). With findings,
    // whatever the conversions and the receiving controls change, every missing, mistyped and
    // unknown key, unusable solution entry and unreadable image type is added there, naming
    // `file`.
    static StoredFile read(FileLayout layout, const QJsonObject& root, const QString& file = {},
                           QList<LoadFinding>* findings = nullptr);

    // The key path ("AOI/HCells") under which the layout stores the named control; empty when
    // it does not store it.
    static QString keyPath(FileLayout layout, const QString& objectName);

    // A longer solution list would keep the calculation busy for minutes.
    static constexpr int maximumProgramEntries = 1000;

    // Every control whose limits the table holds (each once, without a value): the stored ones
    // and those the front ends set without storing (evaluation thresholds, amplifications).
    static const QList<StoredControl>& controls();
    static const StoredControl& control(const QString& objectName);
    // What the named control holds after its setter with this value.
    static int limitedInteger(const QString& objectName, qint64 value);
    static double limitedNumber(const QString& objectName, double value);

    // A value as findings and messages show it ("the text \"two\"", "-1", "a list"); long
    // texts cut short.
    static QString shown(const QJsonValue& v);

    // Stores the control's current value (number, integer or checked, by its kind) into its
    // field; false for an objectName that neither file stores.
    static bool assign(ControlValues& values, const StoredControl& control);
};

} // namespace kelvara
