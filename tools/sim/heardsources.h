// SPDX-License-Identifier: MIT
#pragma once

#include <QSet>

/// Who has been heard on one link: systems and their components. Nobody is forgotten; there can be 65536.
class HeardSources
{
public:
    void add(quint8 system, quint8 component);

    bool isEmpty() const { return sources.isEmpty(); }
    bool hasSystem(quint8 system) const { return systems.contains(system); }
    /// Component 0 stands for any of the system.
    bool hasComponent(quint8 system, quint8 component) const;

private:
    static quint16 key(quint8 system, quint8 component);

    QSet<quint16> sources;
    QSet<quint8> systems;
};
