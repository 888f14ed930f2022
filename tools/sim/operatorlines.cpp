// SPDX-License-Identifier: MIT
#include "sim/operatorlines.h"

#include <QSocketNotifier>

#include <cerrno>
#include <unistd.h>

OperatorLines::OperatorLines(int descriptor)
    : fd(descriptor)
    , notifier(new QSocketNotifier(descriptor, QSocketNotifier::Read, this))
{
    connect(notifier, &QSocketNotifier::activated, this, &OperatorLines::onReadable);
}

void OperatorLines::onReadable()
{
    char bytes[longestLine];
    const ssize_t size = ::read(fd, bytes, sizeof bytes);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (size <= 0) {
        notifier->setEnabled(false);
        return;
    }
    begun.append(bytes, static_cast<int>(size));
    for (int end = begun.indexOf('\n'); end >= 0 || begun.size() >= longestLine; end = begun.indexOf('\n')) {
        const int length = end >= 0 && end < longestLine ? end : longestLine;
        const QByteArray line = begun.left(length);
        begun.remove(0, length == end ? length + 1 : length);
        Q_EMIT lineRead(QString::fromLocal8Bit(line));
    }
}
