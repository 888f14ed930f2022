// SPDX-License-Identifier: MIT
#include "app/appmethod.h"

#include <QCoreApplication>
#include <QDebug>

bool AppMethod::invoke(QGenericArgument argument)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return false;
    const QMetaObject *meta = app->metaObject();
    if (meta != owner)
        lookUp(meta);
    return method.isValid() && method.invoke(app, Qt::AutoConnection, argument);
}

void AppMethod::lookUp(const QMetaObject *meta)
{
    owner = meta;
    const int index = meta->indexOfMethod(signature);
    method = index < 0 ? QMetaMethod() : meta->method(index);
    if (index < 0)
        qWarning("The application has no method %s", signature);
}
