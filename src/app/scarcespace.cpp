// SPDX-License-Identifier: MIT
#include "app/scarcespace.h"

#include <QtMath>

#include <cerrno>
#include <fcntl.h>

namespace {

// 0, or what was in the way. File systems that cannot reserve get zeros written.
int reserve(int file, qint64 offset, qint64 bytes)
{
    int error = EINTR;
    while (error == EINTR)
        error = posix_fallocate(file, static_cast<off_t>(offset), static_cast<off_t>(bytes));
    return error;
}

bool isLackOfSpace(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

} // namespace

ScarceSpace::ScarceSpace(const QString &folder, qint64 bytes)
    : ballast(folder + QStringLiteral("/.space"))
{
    if (!ballast.open())
        return;
    if (isLackOfSpace(reserve(ballast.handle(), 0, bytes)))
        takeAll(bytes);
    else
        ballast.resize(0);
}

// There is less than that; of what others free meanwhile not much more is taken.
void ScarceSpace::takeAll(qint64 bytes)
{
    qint64 taken = 0;
    for (auto part = static_cast<qint64>(qNextPowerOfTwo(static_cast<quint64>(bytes)) / 2); part > 0;
         part /= 2)
        if (reserve(ballast.handle(), taken, part) == 0)
            taken += part;
}
