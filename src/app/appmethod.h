// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QGenericArgument>
#include <QMetaMethod>

/// One method of the application object that is invoked by its name, with an automatic connection: direct on
/// the main thread, queued from any other. The look-up is made once and kept for as long as the application
/// is of the same class, since telemetry invokes the same few names hundreds of times a second.
///
/// Not thread-safe: one object is used from one thread.
class NOFLAILSTEN_EXPORT AppMethod
{
public:
    /// @param nameAndType name and argument type, for example "roll(float)"; must outlive the object (a
    /// literal).
    explicit AppMethod(const char *nameAndType)
        : signature(nameAndType)
    {}

    /// Invokes the method on QCoreApplication::instance(). Returns false, after one warning per kind of
    /// application, if the application has no such method; silently without an application.
    bool invoke(QGenericArgument argument);

private:
    void lookUp(const QMetaObject *meta);

    const char *signature;
    const QMetaObject *owner = nullptr;
    QMetaMethod method;
};
