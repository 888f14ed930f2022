// SPDX-License-Identifier: MIT
#include "common/payloadargument.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <limits>

namespace {

constexpr int MaxSize = std::numeric_limits<quint16>::max();

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

std::nullopt_t fail(PayloadArgument::Error *error, const QString &text, bool isFile = false)
{
    *error = {text, isFile};
    return std::nullopt;
}

std::optional<QByteArray> fromHex(const QString &digits, PayloadArgument::Error *error)
{
    const QByteArray bytes = digits.toUtf8();
    if (bytes.size() % 2 != 0 || !std::all_of(bytes.begin(), bytes.end(), isHexDigit))
        return fail(error, QStringLiteral("expected pairs of hexadecimal digits, not %1").arg(digits));
    return QByteArray::fromHex(bytes);
}

// What is not a regular file, such as a FIFO, may keep us waiting for ever.
std::optional<QByteArray> fromFile(const QString &path, PayloadArgument::Error *error)
{
    const QString mistake = QStringLiteral("cannot read file %1").arg(path);
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        return fail(error, mistake + QStringLiteral(": it is not a regular file"), true);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return fail(error, mistake, true);
    const QByteArray bytes = file.read(MaxSize + 1LL); // one more tells that it is too long
    if (file.error() != QFileDevice::NoError)
        return fail(error, mistake, true);
    return bytes;
}

std::optional<QByteArray> bytesOf(const QString &text, PayloadArgument::Error *error)
{
    if (text.startsWith(QLatin1String("hex:")))
        return fromHex(text.mid(4), error);
    if (text.startsWith(QLatin1String("text:")))
        return text.mid(5).toUtf8();
    if (text.startsWith(QLatin1Char('@')))
        return fromFile(text.mid(1), error);
    return fail(error, QStringLiteral("expected hex:DIGITS, text:WORDS or @FILE, not %1").arg(text));
}

} // namespace

std::optional<QByteArray> PayloadArgument::parse(const QString &text, Error *error)
{
    auto bytes = bytesOf(text, error);
    if (!bytes)
        return std::nullopt;
    const bool isFile = text.startsWith(QLatin1Char('@'));
    const QString where = isFile ? QStringLiteral("file %1: ").arg(text.mid(1)) : QString();
    if (bytes->isEmpty())
        return fail(error, where + QStringLiteral("an empty payload cannot be sent"), isFile);
    if (bytes->size() > MaxSize)
        return fail(error, where + QStringLiteral("a payload has at most %1 bytes").arg(MaxSize), isFile);
    return bytes;
}

std::optional<quint8> PayloadArgument::parseId(const QString &text)
{
    bool ok = false;
    const ushort number = text.toUShort(&ok);
    if (!ok || number > std::numeric_limits<quint8>::max())
        return std::nullopt;
    return static_cast<quint8>(number);
}
