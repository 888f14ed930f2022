// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// All settings, each as "GROUP NAME"; the group ends at the first underscore of the key.
QStringList knownSettings();

/// Whether a setting of the application is declared under this group and name.
bool isKnownSetting(const QByteArray &group, const QByteArray &name);

/// Why a text cannot be a known setting's value; empty if it can. The application would take it for 0, false
/// or the lower bits of a number.
QString settingMistake(const QByteArray &group, const QByteArray &name, const QString &value);
