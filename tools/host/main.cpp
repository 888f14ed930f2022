// SPDX-License-Identifier: MIT
#include "app/app.h"
#include "common/exitcode.h"
#include "common/unixsignals.h"
#include "host/host.h"
#include "host/logoutput.h"
#include "host/ownstdout.h"

#include <QTimer>

#include <csignal>
#include <cstdio>

#include <malloc.h>

namespace {

// glibc raises this by itself once a large block was freed; after a large payload the host would keep up to a
// megabyte.
constexpr int KeptAtMost = 128 * 1024;

int run(App &app, const HostOptions &options)
{
    UnixSignals unixSignals;
    Host host(app, options);
    const int result = host.prepare();
    if (result != ExitCode::Done)
        return result;
    QObject::connect(&unixSignals, &UnixSignals::endRequested, &host, &Host::end);
    QTimer::singleShot(0, &host, &Host::begin);
    return App::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    mallopt(M_TRIM_THRESHOLD, KeptAtMost);
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away does not take the link with it
    keepStdoutToOurselves();
    App app(argc, argv);
    App::setApplicationName(QStringLiteral("noflailsten-host"));
    LogOutput::install();

    QString error;
    const auto options = HostOptions::parse(App::arguments(), error);
    if (!options) {
        LogOutput::complain(error);
        return ExitCode::Usage;
    }
    switch (options->task) {
    case HostOptions::Task::ShowHelp:
        std::fputs(qUtf8Printable(options->helpText), stdout);
        return ExitCode::Done;
    case HostOptions::Task::ShowVersion:
        std::puts("noflailsten-host " NOFLAILSTEN_VERSION);
        return ExitCode::Done;
    case HostOptions::Task::Run:
        break;
    }
    return run(app, *options);
}
