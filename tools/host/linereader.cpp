// SPDX-License-Identifier: MIT
#include "host/linereader.h"

#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <unistd.h>

namespace {

constexpr int LongestLine = 65536;

} // namespace

LineReader::LineReader(int descriptor, QObject *parent)
    : LineSource(parent)
    , fd(descriptor)
    , notifier(new QSocketNotifier(descriptor, QSocketNotifier::Read, this))
{
    notifier->setEnabled(false);
    connect(notifier, &QSocketNotifier::activated, this, &LineReader::onReadable);
}

void LineReader::request()
{
    if (buffer.contains('\n') || atEnd)
        QTimer::singleShot(0, this, &LineReader::takeLine);
    else
        notifier->setEnabled(true);
}

void LineReader::onReadable()
{
    char bytes[4096];
    const ssize_t count = ::read(fd, bytes, sizeof bytes);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0)
        buffer.append(bytes, static_cast<int>(count));
    else
        atEnd = true;
    takeLine();
}

void LineReader::takeLine()
{
    const int end = buffer.indexOf('\n');
    if (end < 0 && !atEnd && buffer.size() < LongestLine)
        return;
    // Disabled first: the receiver may ask for the next line at once.
    notifier->setEnabled(false);
    if (end < 0 && buffer.isEmpty()) {
        Q_EMIT ended();
        return;
    }
    const int length = end < 0 ? buffer.size() : end;
    const QByteArray line = buffer.left(length);
    buffer.remove(0, length + 1);
    Q_EMIT lineRead(QString::fromUtf8(line));
}
