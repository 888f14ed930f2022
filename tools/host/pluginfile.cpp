// SPDX-License-Identifier: MIT
#include "host/pluginfile.h"

#include "app/app.h"
#include "autopilot/iautopilotplugin.h"

#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

PluginFile::~PluginFile()
{
    if (loader.isLoaded())
        loader.unload();
}

IAutopilotPlugin *PluginFile::load(const QString &path)
{
    const QFileInfo file(path);
    if (!file.isFile()) {
        error = QStringLiteral("no such file");
        return nullptr;
    }
    loader.setFileName(file.absoluteFilePath());
    QObject *instance = loader.instance();
    if (!instance) {
        error = loader.errorString().simplified();
        return nullptr;
    }
    auto *plugin = qobject_cast<IAutopilotPlugin *>(instance);
    if (!plugin)
        error = QStringLiteral("not an autopilot plugin");
    return plugin;
}

QString PluginFile::linkedLibrary()
{
    Dl_info info;
    if (::dladdr(&App::staticMetaObject, &info) == 0)
        return QString();
    return QFile::decodeName(info.dli_fname);
}
