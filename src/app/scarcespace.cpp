// SPDX-License-Identifier: MIT
#include "app/scarcespace.h"

#include <QtMath>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Where every file has a name, it has one from one line to the next, and killed in between leaves it, empty.
int openNameless(const QByteArray &folder)
{
    const int nameless = ::open(folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (nameless >= 0)
        return nameless;
    QByteArray name = folder + "/.space.XXXXXX";
    const int named = ::mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0)
        ::unlink(name.constData());
    return named;
}

qint64 longestAllowedFile()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return std::numeric_limits<off_t>::max();
    return static_cast<qint64>(limit.rlim_cur);
}

// 0, or what was in the way. File systems that cannot reserve get zeros written.
int reserve(int file, qint64 offset, qint64 bytes)
{
    if (bytes > longestAllowedFile() - offset)
        return EFBIG;
    int error = EINTR;
    while (error == EINTR)
        error = posix_fallocate(file, static_cast<off_t>(offset), static_cast<off_t>(bytes));
    return error;
}

bool isLackOfSpace(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

// There is less than that; of what others free meanwhile not much more is taken.
void takeAll(int file, qint64 bytes)
{
    qint64 taken = 0;
    for (auto part = static_cast<qint64>(qNextPowerOfTwo(static_cast<quint64>(bytes)) / 2); part > 0;
         part /= 2)
        if (reserve(file, taken, part) == 0)
            taken += part;
}

} // namespace

ScarceSpace::ScarceSpace(const QString &folder, std::initializer_list<qint64> fileSizes)
{
    for (const qint64 size : fileSizes) {
        const qint64 bytes = qMin(size, longestAllowedFile());
        if (bytes <= 0)
            continue;
        if (!openBallast(QFile::encodeName(folder)))
            break;
        const int file = ballast.back()->handle();
        if (isLackOfSpace(reserve(file, 0, bytes))) {
            takeAll(file, bytes);
            return;
        }
    }
    ballast.clear();
}

bool ScarceSpace::openBallast(const QByteArray &folder)
{
    const int descriptor = openNameless(folder);
    if (descriptor < 0)
        return false;
    ballast.push_back(std::make_unique<QFile>());
    return ballast.back()->open(descriptor, QIODevice::ReadWrite, QFileDevice::AutoCloseHandle);
}
