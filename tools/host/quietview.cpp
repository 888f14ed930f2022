// SPDX-License-Identifier: MIT
#include "host/quietview.h"

#include "host/logoutput.h"

#include <cstdio>

void QuietView::showEvent(const HostEvent &event)
{
    const QByteArray name(event.name);
    if (name == "hint" || name == "hover" || name.startsWith("link-"))
        LogOutput::complain(eventText(event));
}

void QuietView::showStatus(const LatestValues &values)
{
    print(statusText(values));
}

void QuietView::print(const QString &line)
{
    std::fputs(qUtf8Printable(line + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}
