// SPDX-License-Identifier: MIT
#pragma once

#include "app/logged.h"

#include <QObject>

/// Base of the plugin's interfaces: a QObject that logs under its own tag and can run shell commands.
class NOFLAILSTEN_EXPORT IBase : public QObject, public Logged
{
    Q_OBJECT

public:
    explicit IBase(QObject *parent);

    /// Runs one shell command (as Latin-1) with the C library's system(), waits for it, logs the command and
    /// the status.
    /// @return true if and only if system() returned 0. Blocks the calling thread as long as the command
    /// runs.
    bool runSystemCommand(const QString &command);
};
