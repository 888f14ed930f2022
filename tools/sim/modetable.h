// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVector>

#include <optional>

/// The modes of an autopilot: the custom-mode numbers of its heartbeat, and what people call them.
class ModeTable
{
public:
    struct Mode
    {
        quint32 number;
        QLatin1String name;
    };

    ModeTable(std::initializer_list<Mode> all)
        : modes(all)
    {}

    bool contains(quint32 number) const;
    /// The number itself for one that has no name.
    QString nameOf(quint32 number) const;
    /// By name, upper or lower case, or as a number, which needs no name. Nothing for another text.
    std::optional<quint32> find(const QString &text) const;
    /// All names, for a message to the user.
    QString names() const;

private:
    QVector<Mode> modes;
};
