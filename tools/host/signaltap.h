// SPDX-License-Identifier: MIT
#pragma once

#include "host/knownsignals.h"

#include <QCborValue>
#include <QMetaMethod>
#include <QObject>
#include <QVector>

#include <functional>

/// Listens to all signals that a class declares, whatever their arguments, and hands each emission on as a
/// name and a JSON value: one argument is the value, several are an object by parameter name, none is null.
/// Arguments of type QVariant are left out. Signals in upper case, which announce settings, are not listened
/// to.
///
/// The receiver is called from inside the emission, on the sender's thread, which is the main thread for all
/// that the plugin and the application emit.
class SignalTap : public QObject
{
public:
    using Receiver = std::function<void(const QString &name, const QCborValue &value)>;

    explicit SignalTap(Receiver receiver, QObject *parent = nullptr);

    /// Listens to the signals of `sender` that `declaring`, its class or a base of it, declares itself. Names
    /// are the signals' with `prefix` in front.
    void watch(QObject *sender, const QMetaObject &declaring, const QString &prefix);

    /// The names under which watch() would hand on the signals of a class, each with a value of the form that
    /// it would have.
    static KnownSignals samples(const QMetaObject &declaring, const QString &prefix);

    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override;

private:
    struct Parameter
    {
        QString name;
        int metaType;
        int position;
    };
    struct Tapped
    {
        QString name;
        int parameterCount; // with those left out
        QVector<Parameter> parameters;
    };

    static QVector<QMetaMethod> signalsOf(const QMetaObject &declaring);
    static Tapped describe(const QMetaMethod &signal, const QString &prefix);
    static QCborValue sampleOf(const Tapped &signal);
    static QCborValue valueOf(const Tapped &signal, void **arguments);

    Receiver receiver;
    QVector<Tapped> tapped; // by number of the slot that stands for it
};
