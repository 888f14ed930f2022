// SPDX-License-Identifier: MIT
#include "host/jsonview.h"

#include "host/jsontext.h"
#include "host/latestvalues.h"

#include <QDateTime>

#include <cstdio>

namespace {

QByteArray member(const char *name, const QCborValue &value)
{
    return QByteArray(",\"") + name + "\":" + toJsonText(value);
}

void print(const QByteArray &members)
{
    const QByteArray time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toLatin1();
    const QByteArray line = "{\"time\":\"" + time + '"' + members + "}\n";
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}

} // namespace

void JsonView::showSignal(const QString &name, const QCborValue &value)
{
    print(member("signal", name) + member("value", value));
}

void JsonView::showEvent(const HostEvent &event)
{
    const QByteArray name = member("event", QLatin1String(event.name));
    print(event.detailName ? name + member(event.detailName, event.detail) : name);
}

void JsonView::showStatus(const LatestValues &values)
{
    print(member("event", QStringLiteral("status")) + member("values", values.all()));
}
