// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// Whether a setting of the application is declared under this group and name.
bool isKnownSetting(const QByteArray &group, const QByteArray &name);
