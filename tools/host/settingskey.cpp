// SPDX-License-Identifier: MIT
#include "host/settingskey.h"

#include "app/app.h"

#include <QMetaMethod>

#include <cmath>
#include <limits>

namespace {

/// What a setting's change signal carries, which is the type of the setting.
int settingType(const QByteArray &group, const QByteArray &name)
{
    const QByteArray wanted = group + '_' + name;
    const QMetaObject &app = App::staticMetaObject;
    for (int i = app.methodOffset(); i < app.methodCount(); ++i)
        if (app.method(i).name() == wanted)
            return app.method(i).parameterType(0);
    return QMetaType::UnknownType;
}

QString wholeNumberMistake(const QString &value, qint64 least, qint64 most)
{
    bool ok = false;
    const qint64 number = value.toLongLong(&ok);
    if (ok && number >= least && number <= most)
        return QString();
    return QStringLiteral("a whole number from %1 to %2").arg(least).arg(most);
}

template <typename T>
QString wholeNumberMistake(const QString &value)
{
    return wholeNumberMistake(value, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
}

QString boolMistake(const QString &value)
{
    const bool fits =
        QStringList{QStringLiteral("true"), QStringLiteral("false"), QStringLiteral("1"), QStringLiteral("0")}
            .contains(value, Qt::CaseInsensitive);
    return fits ? QString() : QStringLiteral("true or false");
}

QString numberMistake(const QString &value, double most)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    return ok && std::fabs(number) <= most ? QString() : QStringLiteral("a number");
}

/// What is expected instead; empty if the value fits.
QString mistakeOf(int type, const QString &value)
{
    switch (type) {
    case QMetaType::Bool:
        return boolMistake(value);
    case QMetaType::Float:
        return numberMistake(value, double(std::numeric_limits<float>::max()));
    case QMetaType::Double:
        return numberMistake(value, std::numeric_limits<double>::max());
    case QMetaType::UChar:
        return wholeNumberMistake<quint8>(value);
    case QMetaType::UShort:
        return wholeNumberMistake<quint16>(value);
    case QMetaType::UInt:
        return wholeNumberMistake<quint32>(value);
    case QMetaType::Int:
        return wholeNumberMistake<qint32>(value);
    default:
        return QString();
    }
}

} // namespace

QStringList knownSettings()
{
    // Only settings have an underscore in the names of their signals.
    QStringList settings;
    const QMetaObject &app = App::staticMetaObject;
    for (int i = app.methodOffset(); i < app.methodCount(); ++i) {
        const QString name = QString::fromLatin1(app.method(i).name());
        const int underscore = name.indexOf(QLatin1Char('_'));
        if (app.method(i).methodType() == QMetaMethod::Signal && underscore > 0)
            settings.append(name.left(underscore) + QLatin1Char(' ') + name.mid(underscore + 1));
    }
    return settings;
}

bool isKnownSetting(const QByteArray &group, const QByteArray &name)
{
    if (group.isEmpty() || name.isEmpty())
        return false;
    const QString wanted = QString::fromUtf8(group + '_' + name);
    const QStringList settings = knownSettings();
    for (QString setting : settings)
        if (setting.replace(QLatin1Char(' '), QLatin1Char('_')) == wanted)
            return true;
    return false;
}

QString settingMistake(const QByteArray &group, const QByteArray &name, const QString &value)
{
    const QString expected = mistakeOf(settingType(group, name), value);
    if (expected.isEmpty())
        return QString();
    return QStringLiteral("%1/%2 is %3, not %4")
        .arg(QString::fromUtf8(group), QString::fromUtf8(name), expected, value);
}
