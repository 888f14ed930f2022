// SPDX-License-Identifier: MIT
#include "sim/linkgroup.h"

bool LinkGroup::open(const QVector<LinkAddress> &addresses, const Report &report)
{
    for (const LinkAddress &address : addresses) {
        if (add(address, report))
            continue;
        links.clear();
        return false;
    }
    for (const auto &link : links)
        report.listening(link->address());
    return true;
}

bool LinkGroup::add(const LinkAddress &address, const Report &report)
{
    links.push_back(Link::create(address));
    Link *link = links.back().get();
    QString error;
    if (!link->open(&error)) {
        Report::error(address.toString() + QLatin1String(": ") + error);
        return false;
    }
    QObject::connect(link, &Link::clientJoined, link,
                     [link, report] { report.clientJoined(link->address()); });
    QObject::connect(link, &Link::clientLeft, link, [link, report] { report.clientLeft(link->address()); });
    return true;
}
