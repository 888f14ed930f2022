// SPDX-License-Identifier: MIT
// Any bytes as the settings file: reading, pruning and changing settings leaves a file that reads back.
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <QFile>
#include <QMetaMethod>
#include <QSet>

namespace {

struct Setting
{
    const char *group;
    const char *name;
    QVariant preset;
};

const QVector<Setting> &readByThePlugin()
{
    static const QVector<Setting> settings = {{"APP", "VERBOSE", false},
                                              {"MAV", "CONNECTION_TYPE", QStringLiteral("UART")},
                                              {"MAV", "BAUD_RATE", 57600},
                                              {"MAV", "SYSTEM_ID", 2},
                                              {"ALTIMETER", "MIN_ALTITUDE_M", QVariant()}};
    return settings;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    fuzzCheck(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
              "the file can be written");
}

void readAll(App &app)
{
    for (const Setting &setting : readByThePlugin()) {
        const QVariant value = app.settingValue(setting.group, setting.name, setting.preset);
        value.toUInt();
        value.toFloat();
        const QString key = App::settingNameToKey(setting.group, setting.name, "/");
        fuzzCheck(app.settings()->contains(key), "what was read with a default is in the file");
    }
}

const QSet<QByteArray> &methodNames()
{
    static const QSet<QByteArray> all = [] {
        QSet<QByteArray> names;
        for (int i = App::staticMetaObject.methodOffset(); i < App::staticMetaObject.methodCount(); ++i)
            names.insert(App::staticMetaObject.method(i).name());
        return names;
    }();
    return all;
}

/// What an installation older or newer than this one has left: no signal, no reserved group.
bool isObsolete(const QString &key)
{
    if (key.split(QLatin1Char('/')).contains(QString()))
        return false; // QSettings reads such a key, and can neither give its value nor remove it
    const QString group = key.section(QLatin1Char('/'), 0, 0).toUpper();
    for (const char *reserved : C::ReservedSettingsGroups)
        if (group == QLatin1String(reserved))
            return false;
    QString name = key;
    name.replace(QLatin1Char('/'), QLatin1Char('_'));
    return !methodNames().contains(QMetaObject::normalizedSignature(name.toLatin1().constData()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    App &app = fuzzApp();
    const QString path = scratchFile(QStringLiteral(".ini"));
    writeFile(path, InputBytes(data, size).rest());
    app.loadSettings(path);
    readAll(app);
    app.removeObsoleteSettings();
    const QStringList left = app.settings()->allKeys();
    for (const QString &key : left)
        fuzzCheck(!isObsolete(key), "no obsolete key is left");
    app.updateSetting("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttyS1"));
    app.loadSettings(path);
    fuzzCheck(app.settingValue("MAV", "SERIAL_DEVICE", QString()) == QStringLiteral("/dev/ttyS1"),
              "a change reads back");
    QFile::remove(path);
    return 0;
}
