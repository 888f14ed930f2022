// SPDX-License-Identifier: MIT
#include "host/ownstdout.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

void keepStdoutToOurselves()
{
    const int descriptor = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    FILE *stream = descriptor < 0 ? nullptr : ::fdopen(descriptor, "w");
    if (!stream)
        return;
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    stdout = stream; // a variable like any other in the GNU C library
}
