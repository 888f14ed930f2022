// SPDX-License-Identifier: MIT
#include "link/pseudoterminal.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>

namespace {

bool failed(QString *error, const char *what)
{
    *error = QLatin1String(what) + QLatin1String(": ") + QString::fromLocal8Bit(std::strerror(errno));
    return false;
}

QByteArray linkTarget(const QByteArray &path)
{
    char target[PATH_MAX];
    const ssize_t size = ::readlink(path.constData(), target, sizeof target);
    return QByteArray(target, static_cast<int>(std::max<ssize_t>(size, 0)));
}

} // namespace

PseudoTerminal::~PseudoTerminal()
{
    // Another program may have replaced the link since.
    if (!link.isEmpty() && linkTarget(link) == farPath)
        ::unlink(link.constData());
}

bool PseudoTerminal::open(const QString &linkPath, QString *error)
{
    if (!openEnds(error) || !watchFarEnd(error))
        return false;
    link = QFile::encodeName(linkPath);
    if (makeLink(error))
        return true;
    link.clear();
    return false;
}

bool PseudoTerminal::openEnds(QString *error)
{
    ourEnd.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    char name[PATH_MAX];
    if (!ourEnd.isValid() || ::grantpt(ourEnd.get()) != 0 || ::unlockpt(ourEnd.get()) != 0 ||
        ::ptsname_r(ourEnd.get(), name, sizeof name) != 0)
        return failed(error, "cannot make a pseudo-terminal");
    farPath = name;
    farEnd.reset(::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!farEnd.isValid() || !setRaw())
        return failed(error, "cannot set up the pseudo-terminal");
    return true;
}

bool PseudoTerminal::watchFarEnd(QString *error)
{
    events.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    const uint32_t mask = IN_OPEN | IN_CLOSE_WRITE | IN_CLOSE_NOWRITE;
    if (!events.isValid() || ::inotify_add_watch(events.get(), farPath.constData(), mask) < 0)
        return failed(error, "cannot watch the pseudo-terminal");
    return true;
}

bool PseudoTerminal::makeLink(QString *error)
{
    if (::symlink(farPath.constData(), link.constData()) == 0)
        return true;
    if (errno != EEXIST)
        return failed(error, "cannot make the symlink");
    if (!mayReplaceLink()) {
        *error = QStringLiteral("exists and is no symlink to a pseudo-terminal");
        return false;
    }
    if (::unlink(link.constData()) != 0 || ::symlink(farPath.constData(), link.constData()) != 0)
        return failed(error, "cannot replace the symlink");
    return true;
}

bool PseudoTerminal::mayReplaceLink() const
{
    const QByteArray target = linkTarget(link);
    struct stat info = {};
    const bool dangling = ::stat(link.constData(), &info) != 0 && errno == ENOENT;
    return !target.isEmpty() && (dangling || target.startsWith("/dev/pts/"));
}

int PseudoTerminal::countClients()
{
    alignas(inotify_event) char buffer[4096];
    ssize_t size = 0;
    while ((size = ::read(events.get(), buffer, sizeof buffer)) > 0) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event = {};
            std::memcpy(&event, buffer + at, sizeof event);
            if (event.mask & IN_OPEN)
                ++clients;
            else if (event.mask & (IN_CLOSE_WRITE | IN_CLOSE_NOWRITE))
                clients = std::max(clients - 1, 0);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    return clients;
}

bool PseudoTerminal::hasUnread() const
{
    // The poll comes first: it waits until the kernel has handed on what was written to our end.
    pollfd far = {farEnd.get(), POLLIN, 0};
    const bool readable = ::poll(&far, 1, 0) > 0;
    int waiting = 0;
    return readable || (::ioctl(farEnd.get(), FIONREAD, &waiting) == 0 && waiting > 0);
}

void PseudoTerminal::clean()
{
    setRaw();
    char rest[4096];
    while (hasUnread() && ::read(farEnd.get(), rest, sizeof rest) > 0) {
    }
}

bool PseudoTerminal::setRaw()
{
    termios settings = {};
    if (::tcgetattr(farEnd.get(), &settings) != 0)
        return false;
    ::cfmakeraw(&settings);
    return ::tcsetattr(farEnd.get(), TCSANOW, &settings) == 0;
}
