// SPDX-License-Identifier: MIT
#include "common/jsonline.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

QByteArray toJsonText(const QJsonValue &value)
{
    // QJsonDocument writes only arrays and objects.
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

void writeJsonLine(std::initializer_list<QPair<const char *, QJsonValue>> members)
{
    QByteArray line = "{\"time\":\"";
    line += QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toLatin1();
    line += '"';
    for (const auto &member : members) {
        line += ",\"";
        line += member.first;
        line += "\":";
        line += toJsonText(member.second);
    }
    line += "}\n";
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}
