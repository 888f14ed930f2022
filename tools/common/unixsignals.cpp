// SPDX-License-Identifier: MIT
#include "common/unixsignals.h"

#include <QSocketNotifier>

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::atomic_int writeEnd{-1};

constexpr int KilledBySignal = 128;

std::atomic_bool asked{false}; // and the event loop has not heard of it yet

void onSignal(int signal)
{
    // A link that takes nothing can hold the event loop up for minutes.
    if (asked.exchange(true))
        ::_exit(KilledBySignal + signal);
    // Only async-signal-safe calls; a full pipe means that the request is known already.
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(writeEnd, &byte, 1);
}

void install(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    struct sigaction hangUp = {};
    ::sigaction(SIGHUP, nullptr, &hangUp);
    if (hangUp.sa_handler != SIG_IGN) // as under nohup
        ::sigaction(SIGHUP, &action, nullptr);
}

} // namespace

UnixSignals::UnixSignals(QObject *parent)
    : QObject(parent)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &UnixSignals::onReadable);
    writeEnd = pipeEnds[1];
    asked = false;
    install(onSignal);
}

UnixSignals::~UnixSignals()
{
    if (!notifier)
        return;
    install(SIG_DFL);
    writeEnd = -1;
    delete notifier;
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
}

void UnixSignals::onReadable()
{
    char bytes[16];
    while (::read(pipeEnds[0], bytes, sizeof bytes) > 0) {
    }
    asked = false;
    Q_EMIT endRequested();
}
