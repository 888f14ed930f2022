// SPDX-License-Identifier: MIT
#include "app/settingsstore.h"

#include "app/scarcespace.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QEvent>
#include <QFileInfo>

namespace {

constexpr qint64 LockFileBytes = 4096;
constexpr qint64 BytesAroundAKey = 16; // "=", the line's end, perhaps a section: an empty line, "[%General]"
constexpr qint64 BytesAroundAValue = 16;  // a comma and a blank, quotes, "@ByteArray(" and ")"
constexpr qint64 BytesOfAForeignByte = 8; // a NUL and a comma become "@String(\0), "

bool isHexDigit(ushort character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F') ||
           (character >= 'a' && character <= 'f');
}

// \x1234 for what is no plain ASCII, \x61 for a digit that would be taken for one of the escape before it, \"
// at most for the rest.
qint64 longestText(const QString &text)
{
    qint64 bytes = 0;
    for (const QChar character : text) {
        const ushort code = character.unicode();
        const bool plain = code >= ' ' && code < 0x7f;
        bytes += !plain ? 6 : isHexDigit(code) ? 4 : 2;
    }
    return bytes;
}

// %U1234 beyond Latin-1, else %20 at most.
qint64 longestKey(const QString &key)
{
    qint64 bytes = 0;
    for (const QChar character : key)
        bytes += character.unicode() > 0xff ? 6 : 3;
    return bytes;
}

// Whatever is no text is written as its stream at most, a byte of which becomes \xff.
qint64 longestStream(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(value.userType() == QMetaType::QDateTime ? QDataStream::Qt_5_6 : QDataStream::Qt_4_0);
    stream << value;
    return qint64(4) * bytes.size();
}

// A list is written value by value, or as a stream.
qint64 longestValue(const QVariant &value)
{
    const qint64 text = longestText(value.toString());
    if (value.userType() == QMetaType::QString)
        return text + BytesAroundAValue;
    qint64 list = 0;
    const QVariantList elements = value.toList();
    for (const QVariant &element : elements)
        list += longestValue(element);
    return qMax(qMax(text, longestStream(value)), list) + BytesAroundAValue;
}

// A key that a file may have, but that QSettings takes for another when it is asked for its value.
bool isOutOfReach(const QString &key)
{
    const QLatin1Char slash('/');
    return key.isEmpty() || key.startsWith(slash) || key.endsWith(slash) || key.contains(QLatin1String("//"));
}

} // namespace

SettingsStore::SettingsStore(QObject *parent)
    : QSettings(parent)
{}

SettingsStore::SettingsStore(const QString &path, QObject *parent)
    : QSettings(fileBehind(path), IniFormat, parent)
{}

SettingsStore::~SettingsStore()
{
    store();
}

// Each first change posts an event to this object, by whatever function of QSettings it was made. At the end
// of the application events are not delivered any more, but still posted.
void SettingsStore::store()
{
    changed = changed || d_ptr->postedEvents > 0;
    if (changed)
        write();
    else
        sync();
    QCoreApplication::removePostedEvents(this, QEvent::UpdateRequest);
    known = versionOf(fileName());
}

void SettingsStore::write()
{
    const QString folder = QFileInfo(fileBehind(fileName())).path();
    const ScarceSpace space(folder, {LockFileBytes, largestFile()});
    sync();
    changed = status() != NoError && isLeftUnwritten();
}

// The status stays at the first error. A second object shares the changes, and its status is new.
bool SettingsStore::isLeftUnwritten() const
{
    return QSettings(fileName(), format()).status() == AccessError;
}

// As QSaveFile looks for it, which replaces what a link leads to, not the link.
QString SettingsStore::fileBehind(const QString &path)
{
    constexpr int LongestChain = 127;
    QFileInfo file(path);
    for (int i = 0; i < LongestChain && file.isSymLink(); ++i)
        file.setFile(file.symLinkTarget());
    return file.filePath();
}

bool SettingsStore::event(QEvent *event)
{
    if (event->type() != QEvent::UpdateRequest)
        return QSettings::event(event);
    changed = true;
    store();
    return true;
}

qint64 SettingsStore::largestFile() const
{
    bool isKnown = known == versionOf(fileName());
    qint64 bytes = 0;
    const QStringList keys = allKeys();
    for (const QString &key : keys) {
        if (isOutOfReach(key))
            isKnown = false;
        else
            bytes += longestKey(key) + BytesAroundAKey + longestValue(value(key));
    }
    return isKnown ? bytes : bytes + BytesOfAForeignByte * QFileInfo(fileName()).size();
}

SettingsStore::FileVersion SettingsStore::versionOf(const QString &path)
{
    const QFileInfo file(path);
    return {file.size(), file.lastModified()};
}
