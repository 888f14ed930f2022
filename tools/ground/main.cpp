// SPDX-License-Identifier: MIT
#include "common/exitcode.h"
#include "common/payloadargument.h"
#include "common/unixsignals.h"
#include "ground/groundsession.h"

#include <QCoreApplication>
#include <QTimer>

#include <csignal>
#include <cstdio>

namespace {

int run(const GroundOptions &options)
{
    PayloadArgument::Error error;
    std::optional<QByteArray> payload = QByteArray();
    if (options.command == GroundOptions::Command::Send)
        payload = PayloadArgument::parse(options.payload, &error);
    if (!payload) {
        GroundReport(options.json, options.quiet).error(error.text);
        return error.isFile ? ExitCode::BadFile : ExitCode::Usage;
    }
    GroundSession session(options, *payload);
    UnixSignals signals;
    QObject::connect(&signals, &UnixSignals::endRequested, &session, &GroundSession::interrupt);
    QObject::connect(&session, &GroundSession::ended, &session,
                     [](int code) { QCoreApplication::exit(code); });
    QTimer::singleShot(0, &session, &GroundSession::open);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    // A link that has gone, or a closed stdout, shows as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("noflailsten-ground"));
    QString error;
    const std::optional<GroundOptions> options = GroundOptions::parse(QCoreApplication::arguments(), &error);
    if (!options) {
        GroundReport::complain(error);
        return ExitCode::Usage;
    }
    switch (options->action) {
    case GroundOptions::Action::ShowHelp:
        std::fputs(qUtf8Printable(GroundOptions::helpText()), stdout);
        return ExitCode::Done;
    case GroundOptions::Action::ShowVersion:
        std::puts("noflailsten-ground " NOFLAILSTEN_VERSION);
        return ExitCode::Done;
    case GroundOptions::Action::Run:
        break;
    }
    return run(*options);
}
