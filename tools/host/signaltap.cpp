// SPDX-License-Identifier: MIT
#include "host/signaltap.h"

#include "host/jsonconversion.h"

#include <QVariant>

#include <utility>

SignalTap::SignalTap(Receiver handler, QObject *parent)
    : QObject(parent)
    , receiver(std::move(handler))
{}

// The slots exist in qt_metacall() alone: their numbers start where QObject's end, one for each signal.
void SignalTap::watch(QObject *sender, const QMetaObject &declaring, const QString &prefix)
{
    const QVector<QMetaMethod> found = signalsOf(declaring);
    for (const QMetaMethod &signal : found) {
        const int slot = QObject::staticMetaObject.methodCount() + tapped.size();
        tapped.append(describe(signal, prefix));
        QMetaObject::connect(sender, signal.methodIndex(), this, slot, Qt::DirectConnection);
    }
}

KnownSignals SignalTap::samples(const QMetaObject &declaring, const QString &prefix)
{
    KnownSignals samples;
    const QVector<QMetaMethod> found = signalsOf(declaring);
    for (const QMetaMethod &signal : found) {
        const Tapped description = describe(signal, prefix);
        samples.insert(description.name, sampleOf(description));
    }
    return samples;
}

int SignalTap::qt_metacall(QMetaObject::Call call, int id, void **arguments)
{
    const int slot = QObject::qt_metacall(call, id, arguments);
    if (slot < 0 || call != QMetaObject::InvokeMetaMethod)
        return slot;
    // The receiver may watch more signals meanwhile, which moves the list.
    const Tapped signal = tapped.at(slot);
    receiver(signal.name, valueOf(signal, arguments));
    return -1;
}

QVector<QMetaMethod> SignalTap::signalsOf(const QMetaObject &declaring)
{
    QVector<QMetaMethod> found;
    for (int i = declaring.methodOffset(); i < declaring.methodCount(); ++i) {
        const QMetaMethod method = declaring.method(i);
        const bool setting = method.name() == method.name().toUpper();
        if (method.methodType() == QMetaMethod::Signal && !setting &&
            !(method.attributes() & QMetaMethod::Cloned))
            found.append(method);
    }
    return found;
}

SignalTap::Tapped SignalTap::describe(const QMetaMethod &signal, const QString &prefix)
{
    Tapped description{prefix + QString::fromLatin1(signal.name()), signal.parameterCount(), {}};
    const QList<QByteArray> names = signal.parameterNames();
    for (int i = 0; i < signal.parameterCount(); ++i)
        if (signal.parameterType(i) != QMetaType::QVariant)
            description.parameters.append({QString::fromLatin1(names.at(i)), signal.parameterType(i), i});
    return description;
}

QCborValue SignalTap::sampleOf(const Tapped &signal)
{
    QVector<QVariant> values;
    for (const Parameter &parameter : signal.parameters)
        values.append(QVariant(parameter.metaType, nullptr)); // of that type, all zeros
    QVector<void *> arguments(signal.parameterCount + 1);
    for (int i = 0; i < values.size(); ++i)
        arguments[signal.parameters.at(i).position + 1] = values[i].data();
    return valueOf(signal, arguments.data());
}

QCborValue SignalTap::valueOf(const Tapped &signal, void **arguments)
{
    // arguments[0] is for the result.
    const auto argument = [arguments](const Parameter &parameter) {
        return toJson(parameter.metaType, arguments[parameter.position + 1]);
    };
    if (signal.parameters.isEmpty())
        return QCborValue(QCborValue::Null);
    if (signal.parameterCount == 1)
        return argument(signal.parameters.first());
    QCborMap object;
    for (const Parameter &parameter : signal.parameters)
        object.insert(parameter.name, argument(parameter));
    return object;
}
