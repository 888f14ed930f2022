// SPDX-License-Identifier: MIT
#include "sim/heardsources.h"

void HeardSources::add(quint8 system, quint8 component)
{
    systems.insert(system);
    sources.insert(key(system, component));
}

bool HeardSources::hasComponent(quint8 system, quint8 component) const
{
    return component == 0 ? hasSystem(system) : sources.contains(key(system, component));
}

quint16 HeardSources::key(quint8 system, quint8 component)
{
    return static_cast<quint16>(system << 8 | component);
}
