// SPDX-License-Identifier: MIT
#include "app/logged.h"

#include "app/app.h"

#include <QLoggingCategory>
#include <QMessageLogger>

namespace {

QMessageLogger logger()
{
    return QMessageLogger(nullptr, 0, nullptr);
}

void writeTag(QDebug &d, const QString &tag)
{
    if (tag.isEmpty())
        return;
    d.noquote() << QStringLiteral("[%1]").arg(tag);
    d.quote();
}

} // namespace

QString Logged::id() const
{
    return QString();
}

QString Logged::prefix() const
{
    return QString();
}

QDebug Logged::debug() const
{
    return addPreamble(logger().debug()) << "Dbg:";
}

QDebug Logged::info() const
{
    return addPreamble(logger().info());
}

QDebug Logged::trace(const QString &name)
{
    QDebug d = debug();
    writeTag(d, prefix());
    writeTag(d, name);
    return d;
}

QDebug Logged::addPreamble(const QDebug &d) const
{
    QDebug copy(d);
    writeTag(copy, id());
    return copy;
}

void Logged::sendError(const QString &text)
{
    if (App *app = runningApp())
        app->sendMessage(text, id(), TextToGround::Error);
}

void Logged::sendInfo(const QString &text)
{
    if (App *app = runningApp())
        app->sendMessage(text, id(), TextToGround::Information);
}

bool Logged::debugEnabled()
{
    return QLoggingCategory::defaultCategory()->isDebugEnabled();
}

QDebug warningLine(const Logged &by)
{
    return by.addPreamble(logger().warning()) << "WARN:";
}

QDebug criticalLine(const Logged &by)
{
    return by.addPreamble(logger().critical()) << "CRIT:";
}
