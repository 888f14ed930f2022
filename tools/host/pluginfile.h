// SPDX-License-Identifier: MIT
#pragma once

#include <QPluginLoader>
#include <QString>

class IAutopilotPlugin;

/// The autopilot plugin out of its shared library. Deletes the plugin and gives the library back when it
/// goes.
class PluginFile
{
public:
    PluginFile() = default;
    ~PluginFile();
    PluginFile(const PluginFile &) = delete;
    PluginFile &operator=(const PluginFile &) = delete;

    /// Loads a file. @return null, with the reason in errorText(), if it is no autopilot plugin. Owned by
    /// this object.
    [[nodiscard]] IAutopilotPlugin *load(const QString &path);
    QString errorText() const { return error; }

    /// The shared library that this program is linked with, which is a plugin too.
    static QString linkedLibrary();

private:
    QPluginLoader loader;
    QString error;
};
