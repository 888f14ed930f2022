// SPDX-License-Identifier: MIT
#include "common/exitcode.h"
#include "common/unixsignals.h"
#include "sim/autopilotsession.h"
#include "sim/replaysession.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace {

// Where it is closed, its number would go to another file, whose bytes would be taken for lines.
void keepStandardInput()
{
    if (::fcntl(STDIN_FILENO, F_GETFD) < 0)
        ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

int runAutopilot(const SimOptions &options)
{
    AutopilotSession session(options);
    UnixSignals signals;
    const auto end = [] { QCoreApplication::exit(ExitCode::Done); };
    QObject::connect(&signals, &UnixSignals::endRequested, &session, end);
    QObject::connect(&session, &AutopilotSession::quit, &session, end);
    if (!session.open())
        return ExitCode::LinkFailed;
    const int code = QCoreApplication::exec();
    session.reportEnd();
    return code;
}

int runReplay(const SimOptions &options)
{
    QString error;
    std::unique_ptr<Recording> recording = Recording::open(options.recording, options.baud, &error);
    if (!recording) {
        Report::error(error);
        return ExitCode::BadFile;
    }
    ReplaySession session(options, std::move(recording));
    UnixSignals signals;
    QObject::connect(&signals, &UnixSignals::endRequested, &session,
                     [] { QCoreApplication::exit(ExitCode::Done); });
    QObject::connect(&session, &ReplaySession::ended, &session,
                     [](int code) { QCoreApplication::exit(code); });
    if (!session.open())
        return ExitCode::LinkFailed;
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    // A client that has gone, or a closed stdout, shows as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    // In the background of a terminal, reading its lines fails instead of stopping us.
    std::signal(SIGTTIN, SIG_IGN);
    keepStandardInput();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("noflailsten-sim"));
    QString error;
    const std::optional<SimOptions> options = SimOptions::parse(QCoreApplication::arguments(), &error);
    if (!options) {
        Report::error(error);
        return ExitCode::Usage;
    }
    switch (options->action) {
    case SimOptions::Action::ShowHelp:
        std::fputs(qPrintable(SimOptions::helpText()), stdout);
        return ExitCode::Done;
    case SimOptions::Action::ShowVersion:
        std::puts("noflailsten-sim " NOFLAILSTEN_VERSION);
        return ExitCode::Done;
    case SimOptions::Action::Run:
        break;
    }
    return options->autopilot ? runAutopilot(*options) : runReplay(*options);
}
