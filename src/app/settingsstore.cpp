// SPDX-License-Identifier: MIT
#include "app/settingsstore.h"

#include "app/scarcespace.h"

#include <QDataStream>
#include <QEvent>
#include <QFileInfo>

namespace {

constexpr qint64 LockFileBytes = 4096;
constexpr qint64 BytesAroundASetting = 32; // "=", quotes, the line's end, perhaps a section

// What is no plain ASCII becomes \x1234.
qint64 longestText(const QString &text)
{
    qint64 bytes = 0;
    for (const QChar character : text)
        bytes += character.unicode() >= ' ' && character.unicode() < 0x7f ? 2 : 6;
    return bytes;
}

// Whatever is no text is written as its stream, a byte of which becomes \xff.
qint64 longestStream(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << value;
    return qint64(4) * bytes.size();
}

qint64 longestValue(const QVariant &value)
{
    return value.type() == QVariant::String ? longestText(value.toString()) : longestStream(value);
}

} // namespace

SettingsStore::~SettingsStore()
{
    store();
}

void SettingsStore::store()
{
    const ScarceSpace space(QFileInfo(fileName()).path(), largestFile());
    sync();
}

bool SettingsStore::event(QEvent *event)
{
    if (event->type() != QEvent::UpdateRequest)
        return QSettings::event(event);
    store();
    return true;
}

qint64 SettingsStore::largestFile() const
{
    qint64 bytes = LockFileBytes;
    const QStringList keys = allKeys();
    for (const QString &key : keys)
        bytes += longestText(key) + longestValue(value(key)) + BytesAroundASetting;
    return bytes;
}
