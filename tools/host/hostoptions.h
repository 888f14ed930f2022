// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <chrono>
#include <optional>

/// The command line of noflailsten-host.
struct HostOptions
{
    struct Setting
    {
        QByteArray group;
        QByteArray name;
        QString value;
    };

    enum class Task { Run, ShowHelp, ShowVersion };

    Task task = Task::Run;
    QString configFile;
    QString pluginFile; ///< Empty: the library that the program is linked with.
    QString scriptFile; ///< "-" for standard input; empty: none.
    bool json = false;
    bool quiet = false;
    bool reconnect = true;
    bool pruneSettings = false;
    std::optional<std::chrono::milliseconds> duration;
    std::optional<std::chrono::milliseconds> resourcesPeriod;
    std::optional<std::chrono::milliseconds> linkCountersPeriod;
    QVector<Setting> settings;
    QString helpText;

    /// Reads a command line, the program's name first.
    /// @return the options, or nothing with one line that says what is wrong in `error`.
    static std::optional<HostOptions> parse(const QStringList &arguments, QString &error);
};
