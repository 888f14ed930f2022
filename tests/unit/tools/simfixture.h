// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QtEndian>

/// One heartbeat (system 1, component 1), encoded by another program than ours.
namespace Frames {

inline QByteArray version2()
{
    return QByteArray::fromHex("fd0900000001010000000400000002035103037e22");
}

inline QByteArray version1()
{
    return QByteArray::fromHex("fe0900010100040000000203510303e4e1");
}

inline QByteArray signedVersion2()
{
    return QByteArray::fromHex("fd09010000010100000004000000020351030399da000100000000008b1be0122728");
}

} // namespace Frames

/// A record of a .tlog file.
inline QByteArray tlogRecord(quint64 timeUs, const QByteArray &frame)
{
    QByteArray time(8, '\0');
    qToBigEndian(timeUs, time.data());
    return time + frame;
}

/// Writes a new file and returns its path.
inline QString writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    const bool written = file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    return written ? path : QString();
}
