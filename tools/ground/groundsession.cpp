// SPDX-License-Identifier: MIT
#include "ground/groundsession.h"

#include "common/exitcode.h"
#include "ground/tcpclientlink.h"

namespace {

std::unique_ptr<Link> createLink(const LinkAddress &address)
{
    if (address.kind == LinkAddress::Kind::Tcp)
        return std::make_unique<TcpClientLink>(address);
    return Link::create(address);
}

} // namespace

GroundSession::GroundSession(const GroundOptions &wanted, const QByteArray &payload)
    : options(wanted)
    , report(wanted.json, wanted.quiet)
    , link(createLink(wanted.address))
    , carrier(link.get(), wanted.systemId)
    , sender(&carrier, wanted.pace)
    , command(GroundCommand::create({options, report, sender, receiver}, payload))
{
    opening.setSingleShot(true);
    connect(&opening, &QTimer::timeout, this, &GroundSession::onNotOpened);
    closing.setSingleShot(true);
    closing.setInterval(std::chrono::seconds(1));
    connect(&closing, &QTimer::timeout, this, [this] { Q_EMIT ended(result); });
    connect(link.get(), &Link::finished, this, [this] {
        closing.stop();
        Q_EMIT ended(result);
    });
    connect(link.get(), &Link::clientJoined, this, &GroundSession::onJoined);
    connect(link.get(), &Link::clientLeft, this, &GroundSession::onLeft);
    connect(&carrier, &FrameCarrier::frameReceived, &receiver, &OnboardReceiver::takeFrame);
    connect(command.get(), &GroundCommand::done, this, &GroundSession::finish);
    if (const auto *client = qobject_cast<TcpClientLink *>(link.get()))
        connect(client, &TcpClientLink::failed, this, &GroundSession::failLink);
}

void GroundSession::open()
{
    QString error;
    opened = link->open(&error);
    if (!opened)
        failLink(error);
    else if (options.address.kind == LinkAddress::Kind::Pty)
        waitForOpener();
}

void GroundSession::waitForOpener()
{
    report.note(QStringLiteral("waiting for a program to open %1").arg(options.address.path));
    if (options.command != GroundOptions::Command::Watch)
        opening.start(options.timeout);
}

void GroundSession::onNotOpened()
{
    const std::chrono::duration<double> time = options.timeout;
    failLink(QStringLiteral("no program opened it within %1 s").arg(time.count()));
}

void GroundSession::onJoined()
{
    if (finishing || joined)
        return;
    joined = true;
    opening.stop();
    sender.start();
    command->begin();
}

void GroundSession::onLeft()
{
    if (!finishing)
        failLink(QStringLiteral("the link is lost"));
}

void GroundSession::failLink(const QString &reason)
{
    report.error(QStringLiteral("%1: %2").arg(options.address.toString(), reason));
    finish(ExitCode::LinkFailed);
}

void GroundSession::interrupt()
{
    if (finishing)
        return;
    command->reportEnd();
    finish(ExitCode::Done);
}

void GroundSession::finish(int exitCode)
{
    if (finishing)
        return;
    finishing = true;
    result = exitCode;
    opening.stop();
    sender.stop();
    command.release()->deleteLater(); // it has said its last word, and this may come from inside of it
    if (opened) {
        closing.start();
        link->finish();
    } else {
        closing.start(std::chrono::milliseconds(0));
    }
}
