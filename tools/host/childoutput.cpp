// SPDX-License-Identifier: MIT
#include "host/childoutput.h"

#include "host/screen.h"

#include <QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int LongestLine = 4096;

int saved(int fd)
{
    return ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

void restore(int fd, int savedFd)
{
    ::dup2(savedFd, fd);
    ::close(savedFd);
}

} // namespace

ChildOutput::ChildOutput(Screen &shown)
    : screen(shown)
{
    int ends[2];
    // Not blocking: we wait for those programs, so nobody would read a full pipe.
    if (::isatty(STDERR_FILENO) == 0 || ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    readEnd = ends[0];
    savedStdout = saved(STDOUT_FILENO);
    savedStderr = saved(STDERR_FILENO);
    ::dup2(ends[1], STDOUT_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
    notifier = new QSocketNotifier(readEnd, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &ChildOutput::onReadable);
}

ChildOutput::~ChildOutput()
{
    if (!notifier)
        return;
    onReadable();
    delete notifier;
    restore(STDOUT_FILENO, savedStdout);
    restore(STDERR_FILENO, savedStderr);
    ::close(readEnd);
}

void ChildOutput::onReadable()
{
    char bytes[4096];
    ssize_t count = 0;
    while ((count = ::read(readEnd, bytes, sizeof bytes)) > 0)
        line.append(bytes, static_cast<int>(count));
    const int end = line.size() > LongestLine ? line.size() : line.lastIndexOf('\n');
    if (end < 0)
        return;
    screen.scroll(line.left(end));
    line.remove(0, end + 1);
}
