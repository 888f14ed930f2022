// SPDX-License-Identifier: MIT
#include "app/app.h"

#include "app/logged.h"
#include "app/settingsstore.h"

#include <QFile>
#include <QFileInfo>
#include <QMetaMethod>
#include <QSet>
#include <QThread>

namespace {

#if QT_VERSION >= QT_VERSION_CHECK(5, 14, 0)
constexpr auto SkipEmptyParts = Qt::SkipEmptyParts;
#else
constexpr auto SkipEmptyParts = QString::SkipEmptyParts;
#endif

constexpr const char *FileSeparator = "/";
constexpr const char *SignalSeparator = "_";
constexpr unsigned long LockIsFilledAfterMs = 100;

QString nameOf(const QString &signature)
{
    return signature.left(signature.indexOf(QLatin1Char('(')));
}

// The meta-object gives the sized integers under the names of the types behind them.
QString asDeclared(const QString &type)
{
    if (type == QLatin1String("uchar"))
        return QStringLiteral("quint8");
    if (type == QLatin1String("ushort"))
        return QStringLiteral("quint16");
    if (type == QLatin1String("uint"))
        return QStringLiteral("quint32");
    return type;
}

QString argumentOf(const QString &signature)
{
    const int open = signature.indexOf(QLatin1Char('('));
    return asDeclared(signature.mid(open + 1, signature.indexOf(QLatin1Char(')')) - open - 1));
}

bool toBool(const QVariant &value)
{
    const QString text = value.toString();
    return text.toLower() == QLatin1String("true") || text == QLatin1String("1");
}

bool isReserved(const QString &key)
{
    const QString group = key.section(QLatin1Char('/'), 0, 0).toUpper();
    for (const char *reserved : C::ReservedSettingsGroups)
        if (group == QLatin1String(reserved))
            return true;
    return false;
}

// What QSettings makes of a key that it is given: empty parts are left out.
QString addressedKey(const QString &key)
{
    return key.split(QLatin1Char('/'), SkipEmptyParts).join(QLatin1Char('/'));
}

// QLockFile makes its file and then writes its process id into it. Whoever is killed in between leaves an
// empty one, for which the next write would wait half a minute. The file's age tells nothing: boards start
// without the time.
void removeAbandonedLock(const QString &path)
{
    QFileInfo lock(path);
    if (!lock.exists() || lock.size() != 0)
        return;
    QThread::msleep(LockIsFilledAfterMs);
    lock.refresh();
    if (lock.exists() && lock.size() == 0)
        QFile::remove(lock.filePath());
}

// Of the settings, and the lock that whoever removes a dead process's lock takes for that.
void removeAbandonedLocks(const QString &settingsPath)
{
    const QString lock = settingsPath + QStringLiteral(".lock");
    removeAbandonedLock(lock);
    removeAbandonedLock(lock + QStringLiteral(".rmlock"));
}

void registerArgumentTypes()
{
    qRegisterMetaType<ScalarSensorData>("ScalarSensorData");
    qRegisterMetaType<GeoCoordinates>("GeoCoordinates");
    qRegisterMetaType<Value3d>("Value3d");
    qRegisterMetaType<MissionStatus>("MissionStatus");
    qRegisterMetaType<AlgorithmStatus>("AlgorithmStatus");
    qRegisterMetaType<PayloadConnectedData>("PayloadConnectedData");
    qRegisterMetaType<TextToGround>("TextToGround");
    qRegisterMetaType<Navigate::Attitude>("Navigate::Attitude");
    qRegisterMetaType<Navigate::VehicleGpsPosition>("Navigate::VehicleGpsPosition");
    qRegisterMetaType<Navigate::VehicleLocalPosition>("Navigate::VehicleLocalPosition");
    qRegisterMetaType<Navigate::VehicleStatus>("Navigate::VehicleStatus");
}

} // namespace

App::App(int &argc, char **argv)
    : QCoreApplication(argc, argv)
{
    registerArgumentTypes();
    for (const char *option : C::AvailabeDebugOptions)
        debugOptions.insert(QLatin1String(option), false);
    fillSignalTypes();
}

void App::fillSignalTypes()
{
    const QMetaObject &meta = staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() != QMetaMethod::Signal)
            continue;
        const QString signature = QString::fromLatin1(method.methodSignature());
        signalTypes.insert(nameOf(signature), argumentOf(signature));
    }
}

void App::loadSettings(const QString &path)
{
    delete openSettings;
    removeAbandonedLocks(SettingsStore::fileBehind(path));
    openSettings = new SettingsStore(path, this);
    if (App *app = runningApp())
        connect(app, &App::APP_VERBOSE, this, &App::onVerboseChanged, Qt::UniqueConnection);
    verbose = settingValue("APP", "VERBOSE", false).toBool();
}

QSettings *App::settings()
{
    if (!openSettings) {
        criticalLine(Logged()) << "Using settings before initialization";
        openSettings = new SettingsStore(this);
    }
    return openSettings;
}

void App::syncSettings()
{
    settings();
    openSettings->store();
}

QString App::settingNameToKey(const char *group, const char *name, const char *separator)
{
    return QStringLiteral("%1%3%2").arg(QLatin1String(group), QLatin1String(name), QLatin1String(separator));
}

void App::setSettingDefault(const char *group, const char *name, const QVariant &value)
{
    const QString key = settingNameToKey(group, name, FileSeparator);
    if (!settings()->contains(key))
        settings()->setValue(key, value);
}

QVariant App::settingValue(const char *group, const char *name, const QVariant &defaultValue)
{
    setSettingDefault(group, name, defaultValue);
    return settings()->value(settingNameToKey(group, name, FileSeparator));
}

void App::updateSetting(const char *group, const char *name, const QVariant &value)
{
    const QString signal = settingNameToKey(group, name, SignalSeparator);
    const QString type = signalTypes.value(signal);
    if (type.isEmpty()) {
        warningLine(Logged()).noquote()
            << QStringLiteral("Settings %1_%2 not found").arg(QLatin1String(group), QLatin1String(name));
        return;
    }
    emitChange(signal, type, value);

    const QString key = settingNameToKey(group, name, FileSeparator);
    settings()->setValue(key, value);
    syncSettings();
    Logged().info().noquote() << QStringLiteral("Updated: %1=%2").arg(key, value.toString());
}

void App::emitChange(const QString &signal, const QString &type, const QVariant &value)
{
    QCoreApplication *app = instance();
    const QByteArray method = signal.toLatin1();
    const auto emitOnApp = [app, &method](QGenericArgument argument) {
        QMetaObject::invokeMethod(app, method.constData(), Qt::AutoConnection, argument);
    };
    if (type == QLatin1String("bool"))
        emitOnApp(Q_ARG(bool, toBool(value)));
    else if (type == QLatin1String("float"))
        emitOnApp(Q_ARG(float, value.toFloat()));
    else if (type == QLatin1String("quint32"))
        emitOnApp(Q_ARG(quint32, value.toUInt()));
    else if (type == QLatin1String("quint16"))
        emitOnApp(Q_ARG(quint16, static_cast<quint16>(value.toUInt())));
    else if (type == QLatin1String("quint8"))
        emitOnApp(Q_ARG(quint8, static_cast<quint8>(value.toUInt())));
    else if (type == QLatin1String("int"))
        emitOnApp(Q_ARG(int, value.toInt()));
    else if (type == QLatin1String("QString"))
        emitOnApp(Q_ARG(QString, value.toString()));
}

void App::removeObsoleteSettings()
{
    const QStringList keys = settings()->allKeys();
    for (const QString &key : keys) {
        if (isReserved(key))
            continue;
        QString signal = key;
        signal.replace(QLatin1Char('/'), QLatin1Char('_'));
        const QByteArray normalized = QMetaObject::normalizedSignature(signal.toLatin1().constData());
        if (!signalTypes.contains(QString::fromLatin1(normalized)))
            removeKey(key);
    }
}

// QSettings::remove() drops empty parts of a key ("MAV/" means all of MAV, "/" the whole file) and takes
// everything below along. What lies there is judged by its own name, so it is put back; but for
// keys with empty parts, which would come back as others.
void App::removeKey(const QString &key)
{
    const QString path = addressedKey(key);
    const QString below = path.isEmpty() ? QString() : path + QLatin1Char('/');
    QVariantMap kept;
    const QStringList keys = settings()->allKeys();
    for (const QString &other : keys)
        if (other != key && other == addressedKey(other) && (other == path || other.startsWith(below)))
            kept.insert(other, settings()->value(other));
    settings()->remove(path);
    for (auto it = kept.constBegin(); it != kept.constEnd(); ++it)
        settings()->setValue(it.key(), it.value());
}

void App::sendMessage(const QString &text, TextToGround::MessageTypes type)
{
    const TextToGround record{text, type};
    QMetaObject::invokeMethod(instance(), "textToGround", Qt::AutoConnection, Q_ARG(TextToGround, record));
}

void App::sendMessage(const QString &text, const QString &tag, TextToGround::MessageTypes type)
{
    const QString head = tag.isEmpty() ? QString() : QStringLiteral("[%1] ").arg(tag);
    sendMessage(head + text, type);
}

App *runningApp()
{
    return qobject_cast<App *>(QCoreApplication::instance());
}

QVariant readSetting(const char *group, const char *name, const QVariant &defaultValue)
{
    App *app = runningApp();
    return app ? app->settingValue(group, name, defaultValue) : defaultValue;
}
