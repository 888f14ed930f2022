// SPDX-License-Identifier: MIT
// What a host does first: an App, the plugin through the loader, a signal.
#include "app/app.h"
#include "autopilot/mavautopilot.h"

#include <QPluginLoader>
#include <QTemporaryDir>

int main(int argc, char *argv[])
{
    App app(argc, argv);
    const QTemporaryDir scratch;
    app.loadSettings(scratch.filePath(QStringLiteral("host.ini")));
    QPluginLoader loader(QString::fromLocal8Bit(argv[1]));
    auto *plugin = qobject_cast<IAutopilotPlugin *>(loader.instance());
    if (!plugin)
        qFatal("%s", qPrintable(loader.errorString()));
    float roll = 0;
    QObject::connect(&app, &App::roll, &app, [&roll](float value) { roll = value; });

    mavlink::common::msg::ATTITUDE attitude{};
    attitude.roll = 0.5F;
    mavlink::mavlink_message_t message;
    mavlink::MsgMap map(message);
    attitude.serialize(map);
    qobject_cast<MavAutopilot *>(loader.instance())->onMessageReceived(message);

    qInfo().noquote() << plugin->name() << plugin->version() << "roll" << roll;
    delete plugin;
    return roll == 0.5F ? 0 : 1;
}
