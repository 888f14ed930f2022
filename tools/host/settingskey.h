// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QStringList>

/// All settings, each as "GROUP NAME"; the group ends at the first underscore of the key.
QStringList knownSettings();

/// Whether a setting of the application is declared under this group and name.
bool isKnownSetting(const QByteArray &group, const QByteArray &name);
