// SPDX-License-Identifier: MIT
#pragma once

#include <QCborValue>
#include <QString>
#include <QStringList>
#include <QVector>

class LatestValues;

/// The state of the vehicle as labelled rows.
class StatusTable
{
public:
    enum class Tone { Plain, Good, Bad };

    struct Row
    {
        QString label;
        QString text;
        QString signal; ///< Whose age is the row's; empty: none.
        Tone tone = Tone::Plain;
        bool known = true; ///< The signal has been seen.
    };

    /// @param values must outlive this object.
    explicit StatusTable(const LatestValues &latest)
        : values(latest)
    {}

    /// Always the same rows; those whose signal has not been seen say so.
    QVector<Row> rows() const;
    /// False as long as the stick's origin is no place: none yet, or the zeros before a GPS fix.
    bool hasOrigin() const;
    /// What went wrong on the link, in few words; empty: nothing.
    QString linkTrouble() const;
    /// The rows with a value in one line, and what went wrong on the link.
    QString line() const;

private:
    Row row(const char *label, const char *signal, QString (*words)(const QCborValue &)) const;
    Row autopilot() const;
    Row attitude() const;
    Row fromOrigin() const;
    Row altitude() const;
    Row altimeter() const;
    Row clock() const;

    const LatestValues &values;
};
