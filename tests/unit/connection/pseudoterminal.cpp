// SPDX-License-Identifier: MIT
#include "connection/pseudoterminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int patienceMs = 30000;

void require(bool fine, const char *call)
{
    if (!fine)
        qFatal("pseudo-terminal: %s: %s", call, std::strerror(errno));
}

bool waitForInput(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    require(::poll(&entry, 1, patienceMs) >= 0, "poll");
    return entry.revents & POLLIN;
}

} // namespace

PseudoTerminal::PseudoTerminal()
    : master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    require(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0, "posix_openpt");
    std::array<char, 64> buffer{};
    require(::ptsname_r(master, buffer.data(), buffer.size()) == 0, "ptsname_r");
    slavePath = QString::fromLocal8Bit(buffer.data());
    slave = ::open(buffer.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    require(slave >= 0, "open");
}

PseudoTerminal::~PseudoTerminal()
{
    hangUp();
    ::close(slave);
}

termios PseudoTerminal::settings() const
{
    termios settings{};
    require(::tcgetattr(slave, &settings) == 0, "tcgetattr");
    return settings;
}

void PseudoTerminal::spoilSettings()
{
    termios spoilt = settings();
    spoilt.c_cflag |= CSTOPB | CRTSCTS;
    spoilt.c_iflag |= IXON | IXOFF | IXANY;
    require(::cfsetspeed(&spoilt, B1200) == 0, "cfsetspeed");
    require(::tcsetattr(slave, TCSANOW, &spoilt) == 0, "tcsetattr");
}

void PseudoTerminal::write(const QByteArray &bytes)
{
    require(::write(master, bytes.constData(), size_t(bytes.size())) == bytes.size(), "write");
}

QByteArray PseudoTerminal::read(int count)
{
    QByteArray bytes(count, '\0');
    int done = 0;
    while (done < count && waitForInput(master)) {
        const ssize_t got = ::read(master, bytes.data() + done, size_t(count - done));
        if (got <= 0)
            break;
        done += int(got);
    }
    bytes.truncate(done);
    return bytes;
}

void PseudoTerminal::hangUp()
{
    if (master >= 0)
        ::close(master);
    master = -1;
}

void PseudoTerminal::waitForBytes(int count) const
{
    int waiting = 0;
    while (waiting < count) {
        require(waitForInput(slave), "no input");
        require(::ioctl(slave, FIONREAD, &waiting) == 0, "ioctl");
    }
}
