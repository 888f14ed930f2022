// SPDX-License-Identifier: MIT
#include "host/hostview.h"

#include "host/jsontext.h"
#include "host/latestvalues.h"
#include "host/valuewords.h"

QString eventText(const HostEvent &event)
{
    QString text = QLatin1String(event.name);
    text.replace(QLatin1Char('-'), QLatin1Char(' '));
    if (event.detailName && event.detail.isString())
        text += QLatin1String(": ") + event.detail.toString();
    else if (event.detailName && event.detail.isMap())
        text += QLatin1String(": ") + ValueWords::payload(event.detail);
    return text;
}

QString statusText(const LatestValues &values)
{
    QStringList lines;
    const QCborMap all = values.all();
    for (auto it = all.constBegin(); it != all.constEnd(); ++it)
        lines.append(
            QStringLiteral("%1 = %2").arg(it.key().toString(), QString::fromUtf8(toJsonText(it.value()))));
    return lines.isEmpty() ? QStringLiteral("nothing seen yet") : lines.join(QLatin1Char('\n'));
}
